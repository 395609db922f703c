#include "core/Text.h"

#include <gtest/gtest.h>

#include <map>

namespace ferrin::core {
namespace {

using ResultOf = std::map<std::string, std::string>;

TEST(CanonicalURL, isTheFirstWordWithoutOuterSlashes) {
  const std::string url = "https://provider.example/v1";
  const ResultOf rows{
      {"  " + url + "//\n", url},
      {url + "\u00A0and more", url},
      {"\u3000\u2028" + url + "\u0085", url},
      {" \t\r\n ", ""},
      {"///", ""},
      {"/relative/path/", "relative/path"},
      {"HTTPS://例子//a/B", "HTTPS://例子//a/B"},
      {"http://h/\xFF/", "http://h/\xFF"},
  };
  for (const auto& [text, result] : rows) EXPECT_EQ(canonicalURL(text), result) << text;
}

TEST(Trimmed, losesUnicodeWhiteSpaceAtBothEndsOnly) {
  const ResultOf rows{{" \t a b\r\n", "a b"},
                      {"\u3000密 钥\u2003", "密 钥"},
                      {"\u00A0\u2029 ", ""},
                      {"\u200B", "\u200B"},
                      {" a\xE3\x80", "a\xE3\x80"}};
  for (const auto& [text, result] : rows) EXPECT_EQ(trimmed(text), result) << text;
}

TEST(IsUTF8, refusesWhatNoDecoderAccepts) {
  for (const char* good : {"", "默认", "\xF0\x9F\x98\x80"}) EXPECT_TRUE(isUTF8(good)) << good;
  for (const char* bad : {"a\x80", "\xC0\xAF", "\xED\xA0\x80", "\xE3\x80", "\xF5\x80\x80\x80"}) {
    EXPECT_FALSE(isUTF8(bad)) << bad;
  }
}

}  // namespace
}  // namespace ferrin::core
