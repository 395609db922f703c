#pragma once

#include <string>

namespace ferrin::proxy {

/// The proxies that the system names, each a URL or HOST:PORT and empty for none, and the hosts that are
/// asked directly, as curl's `no_proxy` lists them. They may hold passwords.
struct ProxySettings {
  std::string forHttp;
  std::string forHttps;
  std::string exceptions;
};

/// What this process was started with: it does not change while the process runs.
ProxySettings proxySettings();

}  // namespace ferrin::proxy
