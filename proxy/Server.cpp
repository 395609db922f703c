#include "proxy/Server.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <stdexcept>

#include "proxy/PortHolder.h"

namespace ferrin::proxy {
namespace {

namespace asio = boost::asio;

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

std::string authority(const asio::ip::tcp::endpoint& endpoint) {
  const std::string address = endpoint.address().to_string();
  return (endpoint.address().is_v6() ? "[" + address + "]" : address) + ":" + std::to_string(endpoint.port());
}

}  // namespace

Server::Server(Services& shared)
    : services(shared),
      acceptor(shared.loop),
      signals(shared.loop, SIGTERM, SIGINT),
      drain([this] { abandonAll(); }),
      acceptAgain([this] { acceptNext(); }) {}

void Server::start() {
  raiseDescriptorLimit();
  listen();
  services.port = acceptor.local_endpoint().port();
  services.log.announce("listening on http://" + authority(acceptor.local_endpoint()) +
                        "/v1, forwarding to " + services.options.upstream.text);
  if (services.options.upstream.secure) services.tls.load();
  awaitSignal();
  acceptNext();
}

void Server::listen() {
  const tcp::endpoint endpoint(asio::ip::make_address(services.options.host), services.options.port);
  boost::system::error_code error;
  acceptor.open(endpoint.protocol());
  acceptor.set_option(tcp::acceptor::reuse_address(true));
  acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (!error) return;
  const std::string holder = holderOfPort(endpoint.port());
  throw std::runtime_error("port " + std::to_string(endpoint.port()) + ": " + error.message() +
                           (holder.empty() ? "" : ", by " + holder));
}

void Server::acceptNext() {
  acceptor.async_accept([this](const boost::system::error_code& error, tcp::socket socket) {
    if (!services.stopping) accepted(error, std::move(socket));
  });
}

void Server::accepted(const boost::system::error_code& error, tcp::socket socket) {
  if (error) {
    if (!shortOfDescriptors)
      services.log.note("can't accept connections: " + error.message() + "; trying on");
    shortOfDescriptors = true;
    acceptAgain.start(services.limits.recheck);
    return;
  }
  if (shortOfDescriptors) services.log.note("accepting connections again");
  shortOfDescriptors = false;
  if (services.connections < maxConnections + maxTurnedAway) run(std::move(socket));
  acceptNext();
}

Detached Server::run(tcp::socket socket) {
  ++services.connections;
  try {
    ClientConnection connection(services, std::move(socket));
    connections.push_back(connection);
    if (services.connections > maxConnections) {
      co_await connection.turnAway();
    } else {
      co_await connection.serve();
    }
  } catch (const std::exception& error) {
    services.log.note(std::string("internal error: ") + error.what());
  }
  --services.connections;
  connectionEnded();
}

void Server::awaitSignal() {
  signals.async_wait([this](const boost::system::error_code& error, int) {
    if (error) return;
    awaitSignal();
    if (services.stopping) {
      abandonAll();
    } else {
      stop();
    }
  });
}

/// Lets requests that are under way end, for as long as there is time.
void Server::stop() {
  services.stopping = true;
  services.log.note("stopping");
  boost::system::error_code ignored;
  acceptor.close(ignored);
  acceptAgain.stop();
  drain.start(services.limits.drain);
  for (ClientConnection& connection : connections) connection.stopIfIdle();
  connectionEnded();
}

/// Ends every request now, and in further rounds what these still wait for: that an answer is taken, that the
/// client closes.
void Server::abandonAll() {
  for (auto entry = connections.begin(); entry != connections.end();) (entry++)->abandon();
  if (services.connections != 0) drain.start(services.limits.recheck);
}

void Server::connectionEnded() {
  if (services.connections != 0) return;
  services.deadlines.settle();
  if (!services.stopping) return;
  drain.stop();
  services.pool.clear();
  services.deadlines.stop();
  signals.cancel();
}

}  // namespace ferrin::proxy
