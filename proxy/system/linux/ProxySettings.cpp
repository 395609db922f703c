#include "proxy/system/ProxySettings.h"

#include <cstdlib>
#include <initializer_list>

namespace ferrin::proxy {
namespace {

/// The first of these variables that holds something: curl takes an empty one for none.
std::string firstOf(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return "";
}

}  // namespace

/// The order of curl(1), "ENVIRONMENT". HTTP_PROXY is left out: web servers set it to a header that a client
/// sent (RFC 3875, section 4.1.18).
ProxySettings proxySettings(const std::string&) {
  return {firstOf({"http_proxy", "all_proxy", "ALL_PROXY"}),
          firstOf({"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}),
          firstOf({"no_proxy", "NO_PROXY"}), ""};
}

}  // namespace ferrin::proxy
