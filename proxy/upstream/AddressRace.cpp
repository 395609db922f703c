#include "proxy/upstream/AddressRace.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "proxy/system/NonBlocking.h"

namespace ferrin::proxy {

Endpoints interleaved(const Endpoints& resolved) {
  if (resolved.empty()) return {};
  const bool firstIsV6 = resolved.front().address().is_v6();
  Endpoints first;
  Endpoints second;
  for (const auto& endpoint : resolved)
    (endpoint.address().is_v6() == firstIsV6 ? first : second).push_back(endpoint);
  Endpoints mixed;
  for (std::size_t index = 0; index < std::max(first.size(), second.size()); ++index) {
    if (index < first.size()) mixed.push_back(first[index]);
    if (index < second.size()) mixed.push_back(second[index]);
  }
  return mixed;
}

/// One address.
class AddressRace::Attempt : private Watched, private Job {
 public:
  Attempt(AddressRace& owner, const Endpoints::value_type& to)
      : Watched(owner.loop), endpoint(to), race(owner) {}

  void start() {
    socket = nonBlockingSocket(endpoint.protocol().family());
    const bool connected =
        socket && connect(socket.get(), endpoint.data(), static_cast<socklen_t>(endpoint.size())) == 0;
    if (!connected && errno != EINPROGRESS) {
      failure = errno;
      loop.soon(*this);
    } else {
      loop.watch(socket.get(), *this);
    }
  }

  const Endpoints::value_type endpoint;
  Descriptor socket;

 private:
  void noted(const Change& change) override { writable = writable || change.writable; }
  void goOnReading() override {}
  void goOnWriting() override {
    if (!std::exchange(writable, false)) return;
    socklen_t size = sizeof failure;
    if (getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &failure, &size) != 0) failure = errno;
    run();
  }
  void run() override { race.attempted(*this, failure); }

  AddressRace& race;
  int failure = 0;
  bool writable = false;
};

AddressRace::AddressRace(EventLoop& home, UpstreamLimits& timeLimits, Endpoints inOrder)
    : loop(home), limits(timeLimits), endpoints(std::move(inOrder)), next([this] { startNext(); }) {}

AddressRace::~AddressRace() = default;

Task<Descriptor> AddressRace::run() {
  startNext();
  if (!over) co_await finished.wait();
  co_return std::move(winner);
}

void AddressRace::startNext() {
  if (over) return;
  if (attempts.size() == endpoints.size()) {
    if (running == 0) finish();
    return;
  }
  ++running;
  attempts.push_back(std::make_unique<Attempt>(*this, endpoints[attempts.size()]));
  attempts.back()->start();
  if (attempts.size() < endpoints.size()) next.start(limits.nextAddress);
}

/// `error` is 0 for a connection. Its end may be this object's.
void AddressRace::attempted(Attempt& attempt, int error) {
  if (over) return;
  --running;
  if (error == 0) {
    winner = std::move(attempt.socket);
    finish();
    return;
  }
  if (firstProblem.empty()) {
    firstProblem = attempt.endpoint.address().to_string() + ": " + std::generic_category().message(error);
  }
  attempt.socket.close();
  startNext();
}

void AddressRace::finish() {
  if (std::exchange(over, true)) return;
  next.stop();
  for (const auto& attempt : attempts) attempt->socket.close();
  finished.announce();
}

}  // namespace ferrin::proxy
