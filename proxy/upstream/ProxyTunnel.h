#pragma once
// Asks a proxy to pass a connection on: CONNECT (RFC 9110, section 9.3.6), or SOCKS 5 with or without user
// and password (RFC 1928, RFC 1929).

#include <cstdint>
#include <stdexcept>
#include <string>

#include "proxy/http/RelayError.h"
#include "proxy/loop/Stream.h"
#include "proxy/loop/Task.h"
#include "proxy/upstream/Proxy.h"

namespace ferrin::proxy {

/// Why there is no tunnel, without the proxy's name, and which error that is.
class TunnelError : public std::runtime_error {
 public:
  explicit TunnelError(const std::string& reason, RelayError kind = RelayError::proxyUnreachable)
      : std::runtime_error(reason), error(kind) {}

  const RelayError error;
};

/// Afterwards `stream`, which is connected to `proxy`, leads to `host`, a name or an address without
/// brackets, and nothing of what that sends has been read. Throws TunnelError, also when the wait was
/// interrupted.
Task<> openTunnel(Stream& stream, const Proxy& proxy, const std::string& host, std::uint16_t port);

/// The line of a head in which an HTTP proxy finds the login; empty where there is none.
std::string loginField(const Proxy& proxy);

}  // namespace ferrin::proxy
