#pragma once
// Decoding of text in any of Unicode's encodings.

#include <optional>
#include <string>
#include <string_view>

namespace ferrin::core {

/// `bytes` as UTF-8 without a byte-order mark. The encoding is taken from the mark, or from the zeros among
/// the first four bytes, which is reliable for texts that begin with two ASCII characters, as JSON does (RFC
/// 4627, section 3). UTF-8 is not checked. No result for ill-formed UTF-16 or UTF-32, or for more than 1 GiB
/// of either.
std::optional<std::string> textAsUTF8(std::string_view bytes);

}  // namespace ferrin::core
