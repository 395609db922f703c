#include "agentconfig/Pattern.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstdint>
#include <limits>

namespace ferrin::agentconfig {
namespace {

void check(UErrorCode status) {
  if (U_FAILURE(status)) throw PatternError(std::string("regular expression: ") + u_errorName(status));
}

icu::UnicodeString fromUTF8(std::string_view text) {
  if (text.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw PatternError("regular expression: the text is larger than 2 GiB");
  }
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

void appendGroup(const icu::RegexMatcher& match, std::int32_t group, icu::UnicodeString& result) {
  if (group > match.groupCount()) return;
  UErrorCode status = U_ZERO_ERROR;
  result.append(match.group(group, status));
  check(status);
}

bool isDigit(char16_t character) { return character >= u'0' && character <= u'9'; }

void appendReplacement(const icu::RegexMatcher& match, const icu::UnicodeString& replacement,
                       icu::UnicodeString& result) {
  for (std::int32_t index = 0; index < replacement.length(); ++index) {
    const char16_t character = replacement[index];
    const bool isLast = index + 1 == replacement.length();
    if (character == u'\\' && !isLast) {
      result.append(replacement[++index]);
    } else if (character == u'$' && !isLast && isDigit(replacement[index + 1])) {
      appendGroup(match, replacement[++index] - u'0', result);
    } else if (character != u'\\') {
      result.append(character);
    }
  }
}

}  // namespace

struct Pattern::Compiled {
  std::unique_ptr<icu::RegexPattern> icu;
};

Pattern::Pattern(std::string_view expression) {
  UErrorCode status = U_ZERO_ERROR;
  UParseError place{};
  compiled = std::make_unique<Compiled>();
  compiled->icu.reset(icu::RegexPattern::compile(fromUTF8(expression), place, status));
  check(status);
}

Pattern::~Pattern() = default;

std::optional<std::string> Pattern::replacingMatches(std::string_view text,
                                                     std::string_view replacement) const {
  const icu::UnicodeString input = fromUTF8(text);
  const icu::UnicodeString replacementUnits = fromUTF8(replacement);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::RegexMatcher> match(compiled->icu->matcher(input, status));
  check(status);
  match->setStackLimit(0, status);  // unlimited: a long text must not fail

  icu::UnicodeString result;
  std::int32_t copied = 0;
  bool found = false;
  while (match->find(status) && U_SUCCESS(status)) {
    found = true;
    result.append(input, copied, match->start(status) - copied);
    appendReplacement(*match, replacementUnits, result);
    copied = match->end(status);
  }
  check(status);
  if (!found) return std::nullopt;
  result.append(input, copied, input.length() - copied);
  std::string bytes;
  return result.toUTF8String(bytes);
}

}  // namespace ferrin::agentconfig
