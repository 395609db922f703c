#pragma once
// Text that may come in any of Unicode's encodings.

#include <optional>
#include <string>
#include <string_view>

namespace ferrin::core {

/// `bytes` as UTF-8 without a byte-order mark. The encoding is told by the mark, or by where the zeros lie
/// among the first four bytes, which is sure for texts that begin with two ASCII characters, as JSON does.
/// UTF-8 is passed on unchecked; ill-formed UTF-16 and UTF-32 give nothing, as does more than 1 GiB of
/// either.
std::optional<std::string> textAsUTF8(std::string_view bytes);

}  // namespace ferrin::core
