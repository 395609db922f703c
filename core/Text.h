#pragma once
// Rules on text: white space in the Unicode sense, and the one form in which provider URLs are kept.

#include <string>
#include <string_view>

namespace ferrin::core {

/// `text` without the white space and line breaks at both ends (Unicode's White_Space property).
std::string trimmed(std::string_view text);

/// The form in which a provider URL is compared, stored and used: the first word of `text`, without any "/"
/// at either end. Empty when there is no URL. Scheme, host and path are not checked.
std::string canonicalURL(std::string_view text);

/// Whether `bytes` are well-formed UTF-8.
bool isUTF8(std::string_view bytes);

}  // namespace ferrin::core
