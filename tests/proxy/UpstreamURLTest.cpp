#include "proxy/UpstreamURL.h"

#include <gtest/gtest.h>

namespace ferrin::proxy {
namespace {

TEST(UpstreamTarget, putsWhatFollowsV1BelowTheBase) {
  struct Row {
    const char* base;
    const char* target;
    std::optional<std::string> mapped;
  };
  const Row rows[] = {
      {"https://h/v1/", "/v1/responses?beta=true", "/v1/responses?beta=true"},
      {"https://h", "/v1/responses", "/responses"},
      {"https://h/", "/v1", "/"},
      {"https://h", "/v1?x", "/?x"},
      {"https://h/a/b//", "/v1/", "/a/b/"},
      {"https://h/a%20b", "/v1/x%2Fy/../z?q=/v1/%zz", "/a%20b/x%2Fy/../z?q=/v1/%zz"},
      {"https://h/a", "/v1//x", "/a//x"},
      {"https://h", "/v1//x", std::nullopt},
      {"https://h/v1", "/v1beta/x", std::nullopt},
      {"https://h/v1", "/V1/x", std::nullopt},
      {"https://h/v1", "", std::nullopt},
  };
  for (const Row& row : rows)
    EXPECT_EQ(upstreamTarget(parseUpstreamURL(row.base), row.target), row.mapped) << row.target;
}

TEST(ParseUpstreamURL, knowsHostAndPort) {
  const std::pair<const char*, const char*> rows[] = {
      {"https://api.example:443/v1", "api.example 443 api.example"},
      {"http://api.example:443", "api.example 443 api.example:443"},
      {"HTTP://[::1]:80/x", "::1 80 [::1]"},
      {"https://api.example:", "api.example 443 api.example"},
  };
  for (const auto& [text, expected] : rows) {
    const UpstreamURL url = parseUpstreamURL(text);
    EXPECT_EQ(url.host + " " + std::to_string(url.port) + " " + url.hostField, expected);
  }
}

}  // namespace
}  // namespace ferrin::proxy
