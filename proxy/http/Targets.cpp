#include "proxy/http/Targets.h"

#include <algorithm>
#include <charconv>

#include "proxy/http/Fields.h"

namespace ferrin::proxy {
namespace {

/// The byte at the front of `path`, percent-decoded if it is encoded, and taken off.
char takeDecoded(std::string_view& path) {
  unsigned value = 0;
  const char* const digits = path.data() + 1;
  const bool encoded = path.size() >= 3 && path.front() == '%' &&
                       std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2;
  const char byte = encoded ? static_cast<char>(value) : path.front();
  path.remove_prefix(encoded ? 3 : 1);
  return byte;
}

/// Whether a segment of the path is "." or "..", however it is written. A backslash counts as a separator, as
/// some servers take it for one.
bool hasDotSegment(std::string_view path) {
  if (path.find('.') == std::string_view::npos && path.find('%') == std::string_view::npos) return false;
  std::size_t dots = 0;
  bool onlyDots = true;
  while (!path.empty()) {
    const char byte = takeDecoded(path);
    const bool separates = byte == '/' || byte == '\\';
    if (separates && onlyDots && (dots == 1 || dots == 2)) return true;
    dots = separates ? 0 : dots + 1;
    onlyDots = separates || (onlyDots && byte == '.');
  }
  return onlyDots && (dots == 1 || dots == 2);
}

}  // namespace

Target splitTarget(std::string_view target) {
  constexpr std::string_view scheme = "http://";
  if (target.size() < scheme.size() || !sameIgnoringCase(target.substr(0, scheme.size()), scheme))
    return {"", target};
  target.remove_prefix(scheme.size());
  const std::size_t path = std::min(target.find_first_of("/?"), target.size());
  return {target.substr(0, path), target.substr(path)};
}

std::string_view pathForLog(std::string_view target) {
  target = withoutQuery(target);
  if (target.starts_with('/')) return target;
  const std::size_t scheme = target.find("://");
  if (scheme != std::string_view::npos) target.remove_prefix(scheme + 3);
  const std::size_t path = target.find('/');
  return path == std::string_view::npos ? "-" : target.substr(path);
}

std::optional<std::string> upstreamTarget(std::string_view basePath, std::string_view target) {
  constexpr std::string_view prefix = "/v1";
  if (!target.starts_with(prefix)) return std::nullopt;
  const std::string_view rest = target.substr(prefix.size());
  if (!rest.empty() && rest.front() != '/' && rest.front() != '?') return std::nullopt;
  if (hasDotSegment(withoutQuery(rest))) return std::nullopt;
  std::string mapped(basePath);
  if (mapped.empty() && (rest.empty() || rest.front() == '?')) mapped = "/";
  mapped.append(rest);
  if (mapped.starts_with("//")) return std::nullopt;  // many readers take what follows for a host
  return mapped;
}

}  // namespace ferrin::proxy
