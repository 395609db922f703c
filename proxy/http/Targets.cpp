#include "proxy/http/Targets.h"

#include <algorithm>

#include "proxy/http/Fields.h"

namespace ferrin::proxy {

Target splitTarget(std::string_view target) {
  constexpr std::string_view scheme = "http://";
  if (target.size() < scheme.size() || !sameIgnoringCase(target.substr(0, scheme.size()), scheme))
    return {"", target};
  target.remove_prefix(scheme.size());
  const std::size_t path = std::min(target.find_first_of("/?"), target.size());
  return {target.substr(0, path), target.substr(path)};
}

std::optional<std::string> upstreamTarget(std::string_view basePath, std::string_view target) {
  constexpr std::string_view prefix = "/v1";
  if (!target.starts_with(prefix)) return std::nullopt;
  const std::string_view rest = target.substr(prefix.size());
  if (!rest.empty() && rest.front() != '/' && rest.front() != '?') return std::nullopt;
  std::string mapped(basePath);
  if (mapped.empty() && (rest.empty() || rest.front() == '?')) mapped = "/";
  mapped.append(rest);
  if (mapped.starts_with("//")) return std::nullopt;  // many readers take what follows for a host
  return mapped;
}

}  // namespace ferrin::proxy
