#pragma once
// The provider's base URL.

#include <cstdint>
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

}  // namespace ferrin::proxy
