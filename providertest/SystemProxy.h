#pragma once
// The system's proxy settings.

#include <optional>
#include <string>

namespace ferrin::providertest {

/// The proxy for `url`, as a URL with its own scheme; the empty text for none. No value on systems that set
/// proxies by environment variables (http_proxy, https_proxy, all_proxy, no_proxy): libcurl reads them
/// itself.
std::optional<std::string> systemProxy(const std::string& url);

}  // namespace ferrin::providertest
