#include "providertest/URLComponents.h"

#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>

namespace ferrin::providertest {

// Boost 1.81 accepts a path directly after the port, as in "http://host:8x".
std::optional<URLComponents> parseURL(std::string_view text) {
  const auto parsed = boost::urls::parse_uri_reference({text.data(), text.size()});
  if (!parsed) return std::nullopt;
  URLComponents components{.scheme = parsed->scheme(), .host = std::nullopt};
  if (!parsed->has_authority()) return components;
  const std::string_view path(parsed->encoded_path().data(), parsed->encoded_path().size());
  if (!path.empty() && path.front() != '/') return std::nullopt;
  components.host = parsed->host();
  return components;
}

}  // namespace ferrin::providertest
