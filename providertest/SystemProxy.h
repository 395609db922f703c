#pragma once
// Which proxy the system wants used.

#include <optional>
#include <string>

namespace ferrin::providertest {

/// The proxy for `url`, as a URL with its own scheme, or the empty text for none; nothing where the
/// environment decides, which libcurl reads itself (http_proxy, https_proxy, all_proxy, no_proxy).
std::optional<std::string> systemProxy(const std::string& url);

}  // namespace ferrin::providertest
