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
  std::string problem;    ///< why it can't be used; empty, and all else filled, when it can
};

/// An address that can't be used has nothing but its `problem`, which does not repeat the text: a password
/// may stand in it. A byte-order mark before it is ignored.
UpstreamURL parseUpstreamURL(std::string_view text);

}  // namespace ferrin::proxy
