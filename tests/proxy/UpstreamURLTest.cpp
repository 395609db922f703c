#include "proxy/upstream/UpstreamURL.h"

#include <gtest/gtest.h>

namespace ferrin::proxy {
namespace {

TEST(ParseUpstreamURL, knowsHostAndPort) {
  const std::pair<const char*, const char*> rows[] = {
      {"https://api.example:443/v1", "api.example 443 api.example"},
      {"http://api.example:443", "api.example 443 api.example:443"},
      {"HTTP://[::1]:80/x", "::1 80 [::1]"},
      {"https://api.example:", "api.example 443 api.example"},
      {"\xEF\xBB\xBFhttps://api.example/", "api.example 443 api.example"},
      {"https://1.2.3.4.nip.test/v1", "1.2.3.4.nip.test 443 1.2.3.4.nip.test"},
  };
  for (const auto& [text, expected] : rows) {
    const UpstreamURL url = parseUpstreamURL(text);
    EXPECT_EQ(url.host + " " + std::to_string(url.port) + " " + url.hostField, expected);
  }
}

}  // namespace
}  // namespace ferrin::proxy
