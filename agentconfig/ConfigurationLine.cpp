#include "agentconfig/ConfigurationLine.h"

#include <optional>

#include "agentconfig/Pattern.h"

namespace ferrin::agentconfig {
namespace {

// The white space is possessive: what it has taken is never given back, since no equals sign is among it and
// any rest of a line will do. An expression that may give it back spends its time on long runs.
std::string assignmentTo(std::string_view key) { return "(?m)^\\Q" + std::string(key) + "\\E\\s*+=\\s*+.*"; }

}  // namespace

// The line without its end serves as the replacement, where `\"` is a quote, and as the first line, where it
// stays as it is.
std::string replaceLine(std::string_view text, std::string_view key, std::string_view value) {
  const std::string line = std::string(key) + " = \\\"" + std::string(value) + "\\\"";
  try {
    const auto replaced = Pattern(assignmentTo(key) + "$").replacingMatches(text, line);
    return replaced ? *replaced : line + "\n" + std::string(text);
  } catch (const PatternError&) {
    return std::string(text);
  }
}

std::string removeRootLine(std::string_view text, std::string_view key) {
  try {
    return Pattern(assignmentTo(key) + "\\n?").replacingMatches(text, "").value_or(std::string(text));
  } catch (const PatternError&) {
    return std::string(text);
  }
}

}  // namespace ferrin::agentconfig
