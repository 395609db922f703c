#include "proxy/AddressRace.h"

#include <algorithm>
#include <utility>

namespace ferrin::proxy {

using tcp = boost::asio::ip::tcp;

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

AddressRace::AddressRace(boost::asio::io_context& context, TimeLimits& timeLimits, Endpoints inOrder)
    : loop(context),
      limits(timeLimits),
      endpoints(std::move(inOrder)),
      next([this] { startNext(); }),
      self(std::make_shared<AddressRace*>(this)) {}

AddressRace::~AddressRace() { *self = nullptr; }

Task<std::optional<tcp::socket>> AddressRace::run() {
  startNext();
  if (!over) co_await finished.wait();
  if (!winner) co_return std::nullopt;
  co_return std::move(*sockets.at(*winner));
}

void AddressRace::cancel() { finish(); }

void AddressRace::startNext() {
  if (over) return;
  if (sockets.size() == endpoints.size()) {
    if (running == 0) finish();
    return;
  }
  const std::size_t index = sockets.size();
  sockets.push_back(std::make_unique<tcp::socket>(loop));
  ++running;
  sockets.back()->async_connect(endpoints[index],
                                [held = self, index](const boost::system::error_code& error) {
                                  if (*held != nullptr) (*held)->attempted(index, error);
                                });
  if (sockets.size() < endpoints.size()) next.start(limits.nextAddress);
}

void AddressRace::attempted(std::size_t index, const boost::system::error_code& error) {
  if (over) return;
  --running;
  if (!error) {
    winner = index;
    finish();
    return;
  }
  if (firstProblem.empty()) firstProblem = endpoints[index].address().to_string() + ": " + error.message();
  startNext();
}

void AddressRace::finish() {
  if (std::exchange(over, true)) return;
  next.stop();
  for (std::size_t index = 0; index < sockets.size(); ++index) {
    boost::system::error_code ignored;
    if (index != winner) sockets[index]->close(ignored);
  }
  finished.announce();
}

}  // namespace ferrin::proxy
