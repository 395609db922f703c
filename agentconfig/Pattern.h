#pragma once
// Regular expressions in ICU's dialect on UTF-8 text.

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ferrin::agentconfig {

/// A regular expression that can't be compiled, or a text too large to be searched.
struct PatternError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// A compiled expression.
class Pattern {
 public:
  /// Throws PatternError.
  explicit Pattern(std::string_view expression);
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;
  ~Pattern();

  /// `text`, which is UTF-8, with every match replaced; no value when there is no match. In `replacement` a
  /// backslash makes the next character literal, and `$` with one digit stands for that group: `$0` for the
  /// whole match, the empty text for a group that the expression lacks. Any other `$` is literal. Throws
  /// PatternError. Safe from several threads at once.
  std::optional<std::string> replacingMatches(std::string_view text, std::string_view replacement) const;

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled;
};

}  // namespace ferrin::agentconfig
