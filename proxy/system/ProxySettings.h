#pragma once

#include <string>

namespace ferrin::proxy {

/// The proxies that the system names, each a URL or HOST:PORT and empty for none, and the hosts that are
/// asked directly, as curl's `no_proxy` lists them. They may hold passwords.
struct ProxySettings {
  std::string forHttp;
  std::string forHttps;
  std::string exceptions;
  std::string note;  ///< for the log, what of the system's settings is not followed; usually empty

  bool operator==(const ProxySettings&) const = default;
};

/// The settings at this moment; on macOS for the address `upstream` alone, as the system applies their
/// exceptions itself. Elsewhere they are what this process was started with. Takes up to a millisecond.
ProxySettings proxySettings(const std::string& upstream);

}  // namespace ferrin::proxy
