#include "proxy/upstream/Connector.h"

#include <boost/asio/ip/address.hpp>
#include <optional>
#include <utility>

#include "proxy/http/Fields.h"
#include "proxy/upstream/ProxyTunnel.h"

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;

/// The endpoints of a host that needs no look-up: an address, or this machine by the name that it always has
/// (RFC 6761, section 6.3). Else none.
Endpoints knownEndpoints(const Place& place) {
  boost::system::error_code notAnAddress;
  const auto address = ip::make_address(place.host, notAnAddress);
  if (!notAnAddress) return {{address, place.port}};
  if (!sameIgnoringCase(place.host, "localhost")) return {};
  return {{ip::address_v4::loopback(), place.port}, {ip::address_v6::loopback(), place.port}};
}

}  // namespace

Task<Connected> Connector::open() {
  if (!route.problem.empty()) co_return Connected{nullptr, route.problem, RelayError::proxyUnreachable};
  Timer limit([this] {
    timedOut = true;
    cancel();
  });
  limit.start(timeouts.connect);
  atProxy = route.proxy.has_value();
  Connected result;
  const Endpoints endpoints = co_await resolve(route.firstHop(), result.problem);
  if (!endpoints.empty() && !cancelled) {
    AddressRace race(loop, timeouts, interleaved(endpoints));
    FileDescriptor socket = co_await raced(race);
    result.problem = race.problem();
    if (socket.valid()) result = co_await begin(std::move(socket), limit);
  }
  explain(result);
  co_return result;
}

void Connector::explain(Connected& result) const {
  if (cancelled) result.stream.reset();
  if (timedOut) result.problem = "no connection in time";
  if (result.problem.empty() && !result.stream) result.problem = "cancelled";
  if (result.problem.empty() || !atProxy) return;
  result.problem = "proxy " + route.proxy->name + ": " + result.problem;
  if (result.error == RelayError::upstreamUnreachable) result.error = RelayError::proxyUnreachable;
}

void Connector::cancel() {
  cancelled = true;
  currentWait.cancel();
}

Task<Endpoints> Connector::resolve(Place& place, std::string& problem) {
  Endpoints known = knownEndpoints(place);
  if (!known.empty()) co_return known;
  NameLookups::Wait wait;
  const CancellationSlot::Scope cancellable(currentWait, [&wait] { wait.cancel(); });
  Found found = co_await place.lookups.find(wait);
  if (!found.problem.empty()) problem = place.host + ": " + found.problem;
  co_return std::move(found.endpoints);
}

Task<FileDescriptor> Connector::raced(AddressRace& race) {
  const CancellationSlot::Scope cancellable(currentWait, [&race] { race.cancel(); });
  co_return co_await race.run();
}

/// Goes on from a connection to the first hop.
Task<Connected> Connector::begin(FileDescriptor socket, Timer& limit) {
  std::optional<PlainStream> proxySide;  // until another stream watches its descriptor
  if (route.tunnels()) {
    proxySide.emplace(loop, std::move(socket));
    Connected result = co_await tunnel(*proxySide);
    if (!result.problem.empty() || cancelled) co_return result;
    socket = proxySide->socket().release();
  }
  atProxy = false;
  limit.start(timeouts.connect);
  co_return co_await secure(std::move(socket));
}

/// Without a stream: `proxySide` leads to the upstream afterwards, unless there is a problem.
Task<Connected> Connector::tunnel(Stream& proxySide) {
  Connected result;
  std::string host = route.destination.host;
  if (route.proxy->kind == Proxy::Kind::socks5) {
    atProxy = false;
    const Endpoints endpoints = co_await resolve(route.destination, result.problem);
    if (endpoints.empty() || cancelled) co_return result;
    atProxy = true;
    host = endpoints.front().address().to_string();
  }
  try {
    const CancellationSlot::Scope cancellable(currentWait, [&proxySide] { proxySide.socket().interrupt(); });
    co_await openTunnel(proxySide, *route.proxy, host, route.destination.port);
  } catch (const TunnelError& error) {
    result.problem = error.what();
    result.error = error.error;
  }
  co_return result;
}

Task<> Connector::rootsRead() {
  TlsContext::Wait wait(tls);
  const CancellationSlot::Scope cancellable(currentWait, [&wait] { wait.cancel(); });
  co_await tls.ready(wait);
}

Task<Connected> Connector::secure(FileDescriptor socket) {
  Connected result;
  try {
    if (!route.upstream.secure) {
      result.stream = std::make_unique<PlainStream>(loop, std::move(socket));
      co_return result;
    }
    co_await rootsRead();
    if (cancelled) co_return result;
    auto stream = std::make_unique<TlsStream>(loop, std::move(socket), tls, route.upstream.host);
    const TlsContext::Handshake counted(tls);
    const CancellationSlot::Scope cancellable(currentWait, [&stream] { stream->socket().interrupt(); });
    result.problem = co_await stream->handshake();
    if (result.problem.empty()) result.stream = std::move(stream);
  } catch (const std::exception& error) {
    result.problem = error.what();
  }
  co_return result;
}

}  // namespace ferrin::proxy
