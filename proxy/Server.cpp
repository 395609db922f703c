#include "proxy/Server.h"

#include <sys/resource.h>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <system_error>

#include "proxy/system/PortHolder.h"

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;

/// Beyond the limit, so many connections at once are told so; others are just closed.
constexpr std::size_t maxTurnedAway = 64;

/// Each connection may have one to the upstream beside it.
void raiseDescriptorLimit() {
  constexpr rlim_t wanted = 2 * (maxConnections + maxTurnedAway) + 128;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

std::string authority(const ip::tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(endpoint.port());
}

/// Behind the reason why the relay can't listen.
std::string remedy(const std::error_code& error, std::uint16_t port) {
  if (error != std::errc::address_in_use) return "";
  const std::string holder = holderOfPort(port);
  return (holder.empty() ? "" : ", by " + holder) + "; end that program first";
}

}  // namespace

Server::Server(Services& shared)
    : services(shared),
      signals(shared.loop, [this] { signalled(); }),
      drain([this] { abandonAll(); }),
      acceptAgain([this] { listener->retry(); }) {}

void Server::start() {
  raiseDescriptorLimit();
  listen();
  const auto endpoint = listener->endpoint();
  services.port = endpoint.port();
  services.log.announce("listening on http://" + authority(endpoint) + "/v1, forwarding to " +
                        services.options.upstream.text);
  if (services.options.upstream.secure) services.tls.load();
}

void Server::listen() {
  const ip::tcp::endpoint endpoint(ip::make_address(services.options.host), services.options.port);
  try {
    listener.emplace(
        services.loop, endpoint, [this](FileDescriptor socket) { accepted(std::move(socket)); },
        [this](int error) { notAccepted(error); });
  } catch (const std::system_error& error) {
    throw std::runtime_error("port " + std::to_string(endpoint.port()) + ": " + error.code().message() +
                             remedy(error.code(), endpoint.port()));
  }
}

void Server::accepted(FileDescriptor socket) noexcept {
  if (shortOfDescriptors) services.log.note("accepting connections again");
  shortOfDescriptors = false;
  if (services.connections >= maxConnections + maxTurnedAway) return;
  try {
    run(std::move(socket));
  } catch (const std::bad_alloc&) {
    services.log.note("closed a new connection: out of memory");
  }
}

void Server::notAccepted(int error) noexcept {
  if (!shortOfDescriptors) logShortage(error);
  shortOfDescriptors = true;
  acceptAgain.start(services.timeouts.recheck);
}

void Server::logShortage(int error) noexcept {
  try {
    services.log.note("can't accept connections: " + std::generic_category().message(error) +
                      "; end programs that hold connections to the relay, or raise the limit of open files");
  } catch (const std::bad_alloc&) {
    services.log.note("can't accept connections: out of memory");
  }
}

/// The coroutine that a connection lives in.
Detached Server::run(FileDescriptor socket) {
  ++services.connections;
  try {
    ClientConnection connection(services, std::move(socket));
    connections.push_back(connection);
    if (services.connections > maxConnections) {
      co_await connection.turnAway();
    } else {
      co_await connection.serve();
    }
  } catch (const std::exception& exception) {
    services.log.note("closed a connection early, for the reason that follows");
    services.log.note(exception.what());
  }
  --services.connections;
  stopLoopIfDone();
}

void Server::signalled() {
  if (services.stopping) {
    abandonAll();
  } else {
    stop();
  }
}

/// Lets requests that are under way end, for as long as there is time.
void Server::stop() {
  services.stopping = true;
  services.log.note("stopping");
  acceptAgain.stop();
  listener.reset();
  drain.start(services.timeouts.drain);
  for (ClientConnection& connection : connections) connection.stopIfIdle();
  stopLoopIfDone();
}

/// Ends every request now, and in further rounds what these still wait for: that an answer is taken, that the
/// client closes.
void Server::abandonAll() {
  for (auto entry = connections.begin(); entry != connections.end();) (entry++)->abandon();
  if (services.connections != 0) drain.start(services.timeouts.recheck);
}

void Server::stopLoopIfDone() {
  if (services.stopping && services.connections == 0) services.loop.stop();
}

}  // namespace ferrin::proxy
