#include "providertest/URLComponents.h"

#include <algorithm>
#include <memory>

#include "providertest/Curl.h"

namespace ferrin::providertest {
namespace {

constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

/// Where the generic syntax has its delimiters (RFC 3986, appendix B).
struct Outline {
  std::string_view scheme;
  std::optional<std::string_view> authority;
};

Outline outlineOf(std::string_view text) {
  Outline outline;
  const std::size_t colon = text.find_first_of(":/?#");
  if (colon != std::string_view::npos && text[colon] == ':' &&
      letters.find(text[0]) != std::string_view::npos) {
    outline.scheme = text.substr(0, colon);
    text.remove_prefix(colon + 1);
  }
  if (text.starts_with("//")) outline.authority = text.substr(2, text.find_first_of("/?#", 2) - 2);
  return outline;
}

struct FreeURL {
  void operator()(CURLU* url) const { curl().url_cleanup(url); }
  void operator()(char* text) const { curl().free(text); }
};
using URL = std::unique_ptr<CURLU, FreeURL>;

/// None where libcurl does not take it for a whole URL.
URL parsed(const std::string& text) {
  URL url(curl().url());
  const unsigned flags = CURLU_NON_SUPPORT_SCHEME | CURLU_NO_AUTHORITY;
  const bool taken = url && curl().url_set(url.get(), CURLUPART_URL, text.c_str(), flags) == CURLUE_OK;
  return taken ? std::move(url) : nullptr;
}

std::string hostOf(CURLU* url) {
  char* host = nullptr;
  curl().url_get(url, CURLUPART_HOST, &host, 0);
  const std::unique_ptr<char, FreeURL> owned(host);
  return host == nullptr ? "" : host;
}

}  // namespace

// libcurl reads whole URLs only. And it finds a host in "https:/a" and "https:///a", which have none.
std::optional<URLComponents> parseURL(std::string_view text) {
  const Outline outline = outlineOf(text);
  const bool hasHost = outline.authority && !outline.authority->empty();
  std::string whole(text);
  if (!hasHost) {
    whole = "http://host/" + whole;
  } else if (outline.scheme.empty()) {
    whole = "http:" + whole;
  }
  const URL url = parsed(whole);
  if (!url) return std::nullopt;
  URLComponents components{.scheme = std::string(outline.scheme), .host = std::nullopt};
  if (outline.authority) components.host = hasHost ? hostOf(url.get()) : "";
  return components;
}

}  // namespace ferrin::providertest
