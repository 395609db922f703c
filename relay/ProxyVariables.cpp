#include "relay/ProxyVariables.h"

#include <cstdlib>

namespace ferrin::relay {

std::vector<EnvironmentVariable> proxyVariables() {
  std::vector<EnvironmentVariable> variables;
  for (const char* name :
       {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
    EnvironmentVariable& variable = variables.emplace_back(EnvironmentVariable{name, std::nullopt});
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') variable.value = value;
  }
  return variables;
}

}  // namespace ferrin::relay
