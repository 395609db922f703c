#include "core/Text.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <optional>

namespace ferrin::core {
namespace {

constexpr std::int32_t illFormed = -1;

/// Decodes the code point at `offset` and advances `offset` past it; `illFormed` for broken UTF-8.
std::int32_t nextCodePoint(std::string_view text, std::size_t& offset) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  std::int32_t codePoint = illFormed;
  U8_NEXT(bytes, offset, text.size(), codePoint);  // NOLINT(bugprone-inc-dec-in-conditions): ICU's macro
  return codePoint < 0 ? illFormed : codePoint;
}

/// Byte offsets, the end exclusive.
struct Range {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// What is left without the white space at both ends; empty for blank text.
Range trimmedRange(std::string_view text) {
  std::optional<std::size_t> begin;
  std::size_t end = 0;
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t start = offset;
    if (u_isUWhiteSpace(nextCodePoint(text, offset))) continue;
    if (!begin) begin = start;
    end = offset;
  }
  return {begin.value_or(0), end};
}

std::string_view firstWord(std::string_view text) {
  const Range kept = trimmedRange(text);
  text = text.substr(kept.begin, kept.end - kept.begin);
  for (std::size_t offset = 0; offset < text.size();) {
    const std::size_t start = offset;
    if (u_isUWhiteSpace(nextCodePoint(text, offset))) return text.substr(0, start);
  }
  return text;
}

}  // namespace

std::string trimmed(std::string_view text) {
  const Range kept = trimmedRange(text);
  return std::string(text.substr(kept.begin, kept.end - kept.begin));
}

std::string canonicalURL(std::string_view text) {
  std::string_view word = firstWord(text);
  // min: find_…_not_of returns npos for a word of slashes only.
  word.remove_prefix(std::min(word.find_first_not_of('/'), word.size()));
  word.remove_suffix(word.size() - std::min(word.find_last_not_of('/') + 1, word.size()));
  return std::string(word);
}

bool isUTF8(std::string_view bytes) {
  for (std::size_t offset = 0; offset < bytes.size();) {
    if (nextCodePoint(bytes, offset) == illFormed) return false;
  }
  return true;
}

}  // namespace ferrin::core
