#include "proxy/upstream/Connector.h"

#include <boost/asio/ip/address.hpp>
#include <utility>

#include "proxy/http/Fields.h"
#include "proxy/upstream/AddressRace.h"

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;

/// Where nobody has to be asked: an address, or this machine, by the name that it always has (RFC 6761,
/// section 6.3). Else nothing.
Endpoints knownEndpoints(const UpstreamURL& upstream) {
  boost::system::error_code notAnAddress;
  const auto address = ip::make_address(upstream.host, notAnAddress);
  if (!notAnAddress) return {{address, upstream.port}};
  if (!sameIgnoringCase(upstream.host, "localhost")) return {};
  return {{ip::address_v4::loopback(), upstream.port}, {ip::address_v6::loopback(), upstream.port}};
}

}  // namespace

Task<Connected> Connector::open() {
  Deadline limit([this] {
    timedOut = true;
    cancel();
  });
  limit.start(limits.connect);
  Connected result;
  Endpoints endpoints = co_await resolve(result.problem);
  if (!endpoints.empty() && !cancelled) {
    AddressRace addresses(loop, limits, interleaved(endpoints));
    race = &addresses;
    Descriptor socket = co_await addresses.run();
    race = nullptr;
    result.problem = addresses.problem();
    if (socket) {
      limit.start(limits.connect);
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
  if (lookup != nullptr) {
    std::exchange(lookup, nullptr)->cancel();
  } else if (race != nullptr) {
    race->cancel();
  } else if (handshaking != nullptr) {
    handshaking->interrupt();
  }
}

Task<Endpoints> Connector::resolve(std::string& problem) {
  Endpoints known = knownEndpoints(upstream);
  if (!known.empty()) co_return known;
  NameLookups::Wait wait;
  lookup = &wait;
  Found found = co_await names.find(wait);
  lookup = nullptr;
  if (!found.problem.empty()) problem = upstream.host + ": " + found.problem;
  co_return std::move(found.endpoints);
}

Task<Connected> Connector::secure(Descriptor socket) {
  Connected result;
  try {
    if (!upstream.secure) {
      result.stream = std::make_unique<PlainStream>(loop, std::move(socket));
      co_return result;
    }
    co_await tls.ready();
    auto stream = std::make_unique<TlsStream>(loop, std::move(socket), tls, upstream.host);
    const TlsContext::Handshake counted(tls);
    handshaking = &stream->socket();
    if (!cancelled) result.problem = co_await stream->handshake();
    handshaking = nullptr;
    if (result.problem.empty()) result.stream = std::move(stream);
  } catch (const std::exception& error) {
    result.problem = error.what();
  }
  co_return result;
}

}  // namespace ferrin::proxy
