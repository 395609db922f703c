#include "providertest/URLComponents.h"

#include <gtest/gtest.h>

namespace ferrin::providertest {
namespace {

TEST(ParseURL, tellsAMissingHostFromAnEmptyOne) {
  const auto schemeAndHost = [](const char* text) -> std::string {
    const auto url = parseURL(text);
    return url ? url->scheme + " " + url->host.value_or("-") : "refused";
  };
  for (const auto& [text, wanted] : {
           std::pair("HTTPS://Provider.Example/v1", "HTTPS Provider.Example"),
           {"http://user:word@[::1]:8787/v1?a=b#c", "http [::1]"},
           {"http://:80/v1", "http "},
           {"http:/v1", "http -"},
           {"localhost:8787", "localhost -"},
           {"", " -"},
           {"//h/v1", " h"},
           {"http://h:8x/", "refused"},
           {"http://h/a b", "refused"},
           {"https://例子.example/v1", "refused"},
       }) {
    EXPECT_EQ(schemeAndHost(text), wanted) << text;
  }
}

}  // namespace
}  // namespace ferrin::providertest
