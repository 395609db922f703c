#include "agentconfig/ConfigurationLine.h"

#include <optional>

#include "agentconfig/Pattern.h"

namespace ferrin::agentconfig {
namespace {

// The white space is matched possessively: backtracking into it can't find another match, and would take
// quadratic time on long runs.
std::string assignmentTo(std::string_view key) { return "(?m)^\\Q" + std::string(key) + "\\E\\s*+=\\s*+.*"; }

}  // namespace

// One text serves as the replacement, in which `\"` stands for a quote, and as the added line, in which it
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
