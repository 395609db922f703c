#include "proxy/upstream/Connector.h"

#include <boost/asio/ip/address.hpp>
#include <utility>

#include "proxy/http/Fields.h"

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;

/// The endpoints of a host that needs no look-up: an address, or this machine by the name that it always has
/// (RFC 6761, section 6.3). Else none.
Endpoints knownEndpoints(const UpstreamURL& upstream) {
  boost::system::error_code notAnAddress;
  const auto address = ip::make_address(upstream.host, notAnAddress);
  if (!notAnAddress) return {{address, upstream.port}};
  if (!sameIgnoringCase(upstream.host, "localhost")) return {};
  return {{ip::address_v4::loopback(), upstream.port}, {ip::address_v6::loopback(), upstream.port}};
}

}  // namespace

Task<Connected> Connector::open() {
  Timer limit([this] {
    timedOut = true;
    cancel();
  });
  limit.start(timeouts.connect);
  Connected result;
  const Endpoints endpoints = co_await resolve(result.problem);
  if (!endpoints.empty() && !cancelled) {
    AddressRace race(loop, timeouts, interleaved(endpoints));
    FileDescriptor socket = co_await raced(race);
    result.problem = race.problem();
    if (socket.valid()) {
      limit.start(timeouts.connect);
      result = co_await secure(std::move(socket));
    }
  }
  if (cancelled) result.stream.reset();
  if (timedOut) result.problem = "no connection in time";
  if (result.problem.empty() && !result.stream) result.problem = "cancelled";
  co_return result;
}

void Connector::cancel() {
  cancelled = true;
  currentWait.cancel();
}

Task<Endpoints> Connector::resolve(std::string& problem) {
  Endpoints known = knownEndpoints(upstream);
  if (!known.empty()) co_return known;
  NameLookups::Wait wait;
  const CancellationSlot::Scope cancellable(currentWait, [&wait] { wait.cancel(); });
  Found found = co_await names.find(wait);
  if (!found.problem.empty()) problem = upstream.host + ": " + found.problem;
  co_return std::move(found.endpoints);
}

Task<FileDescriptor> Connector::raced(AddressRace& race) {
  const CancellationSlot::Scope cancellable(currentWait, [&race] { race.cancel(); });
  co_return co_await race.run();
}

Task<Connected> Connector::secure(FileDescriptor socket) {
  Connected result;
  try {
    if (!upstream.secure) {
      result.stream = std::make_unique<PlainStream>(loop, std::move(socket));
      co_return result;
    }
    co_await tls.ready();
    auto stream = std::make_unique<TlsStream>(loop, std::move(socket), tls, upstream.host);
    const TlsContext::Handshake counted(tls);
    const CancellationSlot::Scope cancellable(currentWait, [&stream] { stream->socket().interrupt(); });
    if (!cancelled) result.problem = co_await stream->handshake();
    if (result.problem.empty()) result.stream = std::move(stream);
  } catch (const std::exception& error) {
    result.problem = error.what();
  }
  co_return result;
}

}  // namespace ferrin::proxy
