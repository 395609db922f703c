#pragma once
// The provider's base URL, and where a request to the relay goes below it.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ferrin::proxy {

struct UpstreamURL {
  bool secure = false;
  std::string host;  ///< a name or an address, without brackets
  std::uint16_t port = 0;
  std::string basePath;   ///< empty, or begins with "/" and does not end with one
  std::string hostField;  ///< what the Host field says: with brackets and a port where they are needed
  std::string text;       ///< as it was given
};

/// Throws std::invalid_argument with the reason, which does not repeat the text.
UpstreamURL parseUpstreamURL(std::string_view text);

/// Where `target` (path and query of a request to the relay) goes at the upstream; nothing for what lies
/// outside `/v1`, or would begin with "//" there. What follows `/v1` is kept byte for byte.
std::optional<std::string> upstreamTarget(const UpstreamURL& upstream, std::string_view target);

}  // namespace ferrin::proxy
