#include "providertest/URLComponents.h"

#include <gtest/gtest.h>

namespace ferrin::providertest {
namespace {

TEST(ParseURL, tellsAMissingHostFromAnEmptyOne) {
  struct Row {
    std::string url;
    /// Scheme and host; "-" for a missing host; "refused".
    std::string result;
  };
  const Row rows[] = {
      {"https://provider.example/v1", "https provider.example"},
      {"HTTPS://Provider.Example", "HTTPS Provider.Example"},
      {"http://127.0.0.1:8787/v1", "http 127.0.0.1"},
      {"http://[::1]:8787/v1?a=b#c", "http [::1]"},
      {"http://user:word@h", "http h"},
      {"http:///v1", "http "},
      {"http://:80/v1", "http "},
      {"http:/v1", "http -"},
      {"http:", "http -"},
      {"https:provider.example", "https -"},
      {"/responses", " -"},
      {"", " -"},
      {"//h/v1", " h"},
      {"ftp://h", "ftp h"},
      {"provider.example/v1", " -"},
      {"localhost:8787", "localhost -"},
      {"http://h:8x/", "refused"},
      {"http://h:8:9/", "refused"},
      {"http://h/%zz", "refused"},
      {"http://h/a b", "refused"},
      {"http://h\\v1", "refused"},
      {"http://[::1", "refused"},
      {"https://例子.example/v1", "refused"},
      {"http://h/\n", "refused"},
      {"1http://h", "refused"},
  };
  for (const Row& row : rows) {
    const auto url = parseURL(row.url);
    EXPECT_EQ(url ? url->scheme + " " + url->host.value_or("-") : "refused", row.result) << row.url;
  }
}

}  // namespace
}  // namespace ferrin::providertest
