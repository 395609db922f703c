#pragma once
// Edits of a TOML text by whole lines. The text is not parsed: a line counts when it begins, in column one,
// with the key, whatever table it stands in. White space between key, equals sign and value may span lines.

#include <string>
#include <string_view>

namespace ferrin::agentconfig {

/// `text` with every line that assigns to `key` replaced by `key = "value"`, its line break kept. Where there
/// is none, a first line is added, whose quotes have a backslash in front: `key = \"value\"`. Both go into
/// the replaced line as a replacement of Pattern, so that `$` and backslash have their meaning there; callers
/// pass plain identifiers. Never throws for the text's or the key's sake: a key that makes no regular
/// expression gives the text unchanged.
std::string replaceLine(std::string_view text, std::string_view key, std::string_view value);

/// `text` without the lines that assign to `key`, in tables too, each with the line feed directly behind it;
/// the two characters of a CR LF stay. Never throws for the text's or the key's sake.
std::string removeRootLine(std::string_view text, std::string_view key);

}  // namespace ferrin::agentconfig
