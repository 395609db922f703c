#include "providertest/RequestCheck.h"

#include <algorithm>
#include <string_view>

#include "providertest/Curl.h"
#include "providertest/URLComponents.h"

namespace ferrin::providertest {
namespace {

/// libcurl would read a URL without a scheme as http, and send the key unencrypted.
bool isWebURL(std::string_view url) {
  const auto components = parseURL(url);
  if (!components || !components->host || components->host->empty()) return false;
  const char* scheme = components->scheme.c_str();
  return curl().strequal(scheme, "http") != 0 || curl().strequal(scheme, "https") != 0;  // in every locale
}

/// A line break would start another header (RFC 9112, section 11.1).
bool fitsInHeader(std::string_view value) {
  return std::none_of(value.begin(), value.end(),
                      [](unsigned char c) { return (c < ' ' && c != '\t') || c == 0x7F; });
}

}  // namespace

std::optional<std::string> reasonToRefuse(const HttpRequest& request) {
  if (!isWebURL(request.url)) return "unsupported URL";
  for (const HttpHeader& header : request.headers) {
    if (!fitsInHeader(header.value))
      return header.name + ": line breaks and control characters can't be sent";
  }
  return std::nullopt;
}

}  // namespace ferrin::providertest
