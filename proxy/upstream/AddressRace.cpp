#include "proxy/upstream/AddressRace.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "proxy/system/KeepAlive.h"
#include "proxy/system/LocalNetwork.h"
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

/// Connecting to one address.
class AddressRace::Attempt : private EventHandler, private DeferredCall {
 public:
  Attempt(AddressRace& owner, EventLoop& home, const Endpoints::value_type& to)
      : EventHandler(home), endpoint(to), race(owner) {}

  /// Reports to the race, in this turn at the earliest.
  void start() noexcept {
    socket = nonBlockingSocket(endpoint.protocol().family());
    const bool connected = socket.valid() && connect(socket.get(), endpoint.data(),
                                                     static_cast<socklen_t>(endpoint.size())) == 0;
    if (connected || errno == EINPROGRESS) {
      watch();
    } else {
      error = errno;
      loop.defer(*this);
    }
  }

  const Endpoints::value_type endpoint;
  FileDescriptor socket;
  int error = 0;  ///< an errno value

 private:
  void watch() noexcept {
    try {
      loop.watch(socket.get(), *this);
    } catch (const std::system_error& failure) {
      error = failure.code().value();
      loop.defer(*this);
    }
  }
  void recordReadiness(const Readiness& readiness) noexcept override {
    writable = writable || readiness.writable;
  }
  void handleReadable() noexcept override {}
  void handleWritable() noexcept override {
    if (!std::exchange(writable, false)) return;
    socklen_t size = sizeof error;
    if (getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    run();
  }
  void run() noexcept override { race.ended(*this, error); }

  AddressRace& race;
  bool writable = false;
};

AddressRace::AddressRace(EventLoop& home, UpstreamTimeouts& upstreamTimeouts, const Endpoints& inOrder)
    : timeouts(upstreamTimeouts), next([this] { startNext(); }) {
  attempts.reserve(inOrder.size());
  for (const auto& endpoint : inOrder) attempts.push_back(std::make_unique<Attempt>(*this, home, endpoint));
}

AddressRace::~AddressRace() = default;

Task<FileDescriptor> AddressRace::run() {
  startNext();
  co_await finished.wait();
  co_return std::move(winner);
}

void AddressRace::startNext() noexcept {
  if (over) return;
  if (started == attempts.size()) {
    if (running == 0) finish();
    return;
  }
  ++running;
  attempts[started++]->start();
  if (started < attempts.size()) next.start(timeouts.nextAddress);
}

/// `error` is 0 for a connection. May destroy this object, by ending run().
void AddressRace::ended(Attempt& attempt, int error) noexcept {
  if (over) return;
  --running;
  if (error == 0) {
    winner = std::move(attempt.socket);
    probePath(winner.get());
    return finish();
  }
  if (firstFailed == nullptr) firstFailed = &attempt;
  attempt.socket.reset();
  startNext();
}

void AddressRace::finish() noexcept {
  if (std::exchange(over, true)) return;
  next.stop();
  for (const auto& attempt : attempts) attempt->socket.reset();
  finished.set();
}

std::string AddressRace::problem() const {
  if (firstFailed == nullptr) return "";
  const int error = firstFailed->error;
  std::string text =
      firstFailed->endpoint.address().to_string() + ": " + std::generic_category().message(error);
  const std::string_view remedy = localNetworkRemedy(error);
  return remedy.empty() ? text : text.append("; ").append(remedy);
}

}  // namespace ferrin::proxy
