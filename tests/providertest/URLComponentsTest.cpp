#include "providertest/URLComponents.h"

#include <gtest/gtest.h>

#include <map>

namespace ferrin::providertest {
namespace {

TEST(ParseURL, tellsAMissingHostFromAnEmptyOne) {
  const std::map<std::string, std::string> schemeAndHost{
      {"HTTPS://Provider.Example/v1", "HTTPS Provider.Example"},
      {"http://[::1]:8787/v1?a=b#c", "http [::1]"},
      {"http://user:word@h", "http h"},
      {"http://:80/v1", "http "},
      {"http:/v1", "http -"},
      {"https:provider.example", "https -"},
      {"localhost:8787", "localhost -"},
      {"", " -"},
      {"//h/v1", " h"},
      {"provider.example/v1", " -"},
  };
  for (const auto& [text, wanted] : schemeAndHost) {
    const auto url = parseURL(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->scheme + " " + url->host.value_or("-"), wanted) << text;
  }
  for (const char* text : {"http://h:8x/", "http://h:8:9/", "http://h/%zz", "http://h/a b", "http://h\\v1",
                           "http://[::1", "https://例子.example/v1", "http://h/\n", "1http://h"}) {
    EXPECT_FALSE(parseURL(text)) << text;
  }
}

}  // namespace
}  // namespace ferrin::providertest
