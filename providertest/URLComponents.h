#pragma once
// What the application looks at in a URL.

#include <optional>
#include <string>
#include <string_view>

namespace ferrin::providertest {

struct URLComponents {
  /// As written; empty for a relative reference.
  std::string scheme;
  /// Nothing where the text has no "//" to introduce one; that may introduce an empty one.
  std::optional<std::string> host;
};

/// Takes URLs and relative references by RFC 3986, so nothing for a character outside ASCII or a port that is
/// no number.
std::optional<URLComponents> parseURL(std::string_view text);

}  // namespace ferrin::providertest
