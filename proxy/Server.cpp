#include "proxy/Server.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <new>
#include <stdexcept>
#include <system_error>

#include "proxy/system/FreeMemory.h"
#include "proxy/system/PeerSocket.h"
#include "proxy/system/PortHolder.h"

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;

/// So many connections at once are told why they are refused; more are just closed.
constexpr std::size_t maxTurnedAway = 64;

/// Each connection may have one to the upstream beside it.
void raiseDescriptorLimit() {
  constexpr rlim_t wanted = 2 * (maxConnections + maxTurnedAway) + 128;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= wanted) return;
  limit.rlim_cur = std::min(wanted, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

OwnAddress addressOf(const ip::tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return {endpoint.address().is_v6() ? "[" + address + "]" : address, endpoint.port()};
}

/// What follows, in the message, the reason why the relay can't listen.
std::string remedy(const std::error_code& error, std::uint16_t port) {
  if (error != std::errc::address_in_use) return "";
  const std::string holder = holderOfPort(port);
  return (holder.empty() ? "" : ", by " + holder) + "; end that program first";
}

}  // namespace

Server::Server(Services& shared)
    : services(shared),
      signals(shared.loop, [this](int number) { signalled(number); }),
      acceptAgain([this] { listener->retry(); }) {}

void Server::start() {
  raiseDescriptorLimit();
  preparePeerQueries();
  listen();
  services.own = addressOf(listener->endpoint());
  const UpstreamURL& upstream = services.options.upstream;
  services.log.announce("listening on http://" + services.own.host + ":" + std::to_string(services.own.port) +
                        "/v1, forwarding to " + (upstream.problem.empty() ? upstream.text : "nothing"));
  if (!upstream.problem.empty())
    services.log.note(withRemedy(RelayError::upstreamAddressUnusable, "--upstream: " + upstream.problem));
  if (upstream.secure) services.tls.load();
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
  const auto ends = endsOf(socket.get());
  const PeerOwner owner = ends ? ownerOfPeer(*ends) : PeerOwner::nobody;
  if (owner == PeerOwner::nobody) return;
  const auto refused = refusalOf(owner);
  if (refused && turnedAway == maxTurnedAway) return;
  try {
    run(std::move(socket), refused);
  } catch (const std::bad_alloc&) {
    services.log.note("closed a new connection: out of memory");
  }
}

/// Why a new connection is not to be served. Decided when it is accepted and not with its first request, so
/// that another user's connections take no places.
std::optional<RelayError> Server::refusalOf(PeerOwner owner) const noexcept {
  if (owner == PeerOwner::otherUser) return RelayError::forbiddenUser;
  if (owner == PeerOwner::unknown) return RelayError::ownerUnknown;
  if (services.connections >= maxConnections) return RelayError::tooManyConnections;
  return std::nullopt;
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
Detached Server::run(FileDescriptor socket, std::optional<RelayError> refused) {
  std::size_t& count = refused ? turnedAway : services.connections;
  ++count;
  crowd = std::max(crowd, services.connections);
  try {
    ClientConnection connection(services, std::move(socket));
    connections.push_back(connection);
    if (refused) {
      co_await connection.turnAway(*refused);
    } else {
      co_await connection.serve();
    }
  } catch (const std::exception& exception) {
    services.log.note("closed a connection early; the next line is the reason");
    services.log.note(exception.what());  // a line of its own, as joining them takes memory
  }
  --count;
  stopLoopIfDone();
  releaseMemoryAfterCrowd();
  endIfReplaced();
}

/// Slow readers, above all, leave much freed memory behind. Looks at all memory, hence only when most of a
/// crowd has gone.
void Server::releaseMemoryAfterCrowd() noexcept {
  constexpr std::size_t many = 32;
  const std::size_t gone = crowd - services.connections;
  if (gone < std::max(many, crowd / 2)) return;
  crowd = services.connections;
  releaseFreeMemory();
}

/// SIGQUIT lets requests that are under way end first. The others are what service managers and terminals
/// send, which wait for the end.
void Server::signalled(int number) noexcept {
  if (!services.stopping) stopAccepting();
  for (auto entry = connections.begin(); entry != connections.end();) {
    ClientConnection& connection = *entry++;
    if (number == SIGQUIT) {
      connection.stopIfIdle();
    } else {
      connection.abort();
    }
  }
  stopLoopIfDone();
}

void Server::endWhenReplaced() {
  programWatch.emplace(services.loop, program.path, [this] { endIfReplaced(); });
  endIfReplaced();
}

/// Asks about the file only at rest, as it goes on while it is busy.
void Server::endIfReplaced() noexcept {
  if (!programWatch || services.stopping || services.connections + turnedAway > 0) return;
  try {
    if (!programWatch->mayHaveChanged() || !program.isReplaced()) return;
  } catch (const std::bad_alloc&) {
    return;  // asked again after the next connection
  }
  services.log.note("the program was replaced or removed, and nobody is connected");
  stopAccepting();
  stopLoopIfDone();
}

void Server::stopAccepting() noexcept {
  services.stopping = true;
  services.log.note("stopping");
  acceptAgain.stop();
  listener.reset();
}

void Server::stopLoopIfDone() noexcept {
  if (services.stopping && services.connections + turnedAway == 0) services.loop.stop();
}

}  // namespace ferrin::proxy
