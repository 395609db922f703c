#pragma once
// The parts of a URL that the application checks.

#include <optional>
#include <string>
#include <string_view>

namespace ferrin::providertest {

struct URLComponents {
  /// As written; empty for a relative reference.
  std::string scheme;
  /// No value without a "//"; may be empty with one.
  std::optional<std::string> host;
};

/// Parses a URL or a relative reference (RFC 3986) as libcurl reads it, so that a host may be a name in any
/// script. No value for anything else, such as white space or a port that is not a number.
std::optional<URLComponents> parseURL(std::string_view text);

}  // namespace ferrin::providertest
