#pragma once
// Which proxy serves an upstream. Settings are read as libcurl 7.88 reads them, so that the relay and the
// application's own request go the same way.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/system/ProxySettings.h"
#include "proxy/upstream/UpstreamURL.h"

namespace ferrin::proxy {

struct Proxy {
  enum class Kind {
    http,
    socks5,   ///< is given the upstream's address, which is looked up here
    socks5h,  ///< is given the upstream's name
  };
  struct Login {
    std::string user;
    std::string password;
  };

  Kind kind = Kind::http;
  std::string host;  ///< a name or an address, without brackets
  std::uint16_t port = 0;
  std::optional<Login> login;
  std::string name;  ///< HOST:PORT, for the log
};

/// The proxy through which requests to `upstream` go; none for a direct connection, as always to this machine
/// itself. Throws std::invalid_argument where one is set that the relay can't use; the reason shows no more
/// of the setting than its scheme.
std::optional<Proxy> proxyFor(const UpstreamURL& upstream, const ProxySettings& settings);

/// Whether the list `exceptions` has `host`: by its name or a domain that it belongs to, or, for an IPv4
/// address, by the address or a block that holds it (10.0.0.0/8). `*` alone has every host. An IPv6 address
/// is compared as text.
bool isException(std::string_view exceptions, const std::string& host);

}  // namespace ferrin::proxy
