#pragma once
// Edits of a TOML text by whole lines. The text is not parsed: a line matches when it begins, in column one,
// with the key, in any table. White space between key, equals sign and value may span lines.

#include <string>
#include <string_view>

namespace ferrin::agentconfig {

/// `text` with every line that assigns to `key` replaced by `key = "value"`, its line break kept. Where no
/// line does, a first line is added, with a backslash before each quote: `key = \"value\"`. Key and value
/// become part of a replacement of Pattern, in which `$` and backslash have a meaning; callers pass plain
/// identifiers. Throws nothing because of the text or the key: a key that makes an invalid expression leaves
/// the text unchanged.
std::string replaceLine(std::string_view text, std::string_view key, std::string_view value);

/// `text` without the lines that assign to `key`, in tables too. A line feed that follows directly is removed
/// with the line; both characters of a CR LF stay. Throws as little as replaceLine.
std::string removeRootLine(std::string_view text, std::string_view key);

}  // namespace ferrin::agentconfig
