#include "core/Text.h"

#include <gtest/gtest.h>

#include "core/TextEncoding.h"

namespace ferrin::core {
namespace {

using namespace std::string_literals;

TEST(CanonicalURL, isTheFirstWordWithoutOuterSlashes) {
  for (const auto& [text, result] : {
           std::pair("\u3000\u2028https://h/v1//\n", "https://h/v1"),
           {"https://h/v1\u00A0and more", "https://h/v1"},
           {"//relative/path/", "relative/path"},
           {" \t///\r\n ", ""},
           {"HTTPS://例子//a/\xFF/", "HTTPS://例子//a/\xFF"},
       }) {
    EXPECT_EQ(canonicalURL(text), result);
  }
  EXPECT_EQ(trimmed("\u3000密 钥\u200B\u2003\r\n"), "密 钥\u200B");
  EXPECT_EQ(trimmed("\u00A0 "), "");
}

TEST(TextAsUTF8, tellsTheEncodingByMarkOrZeros) {
  const std::pair<std::string, std::optional<std::string>> rows[] = {
      {"a\xFF", "a\xFF"},           {"\xEF\xBB\xBF{é", "{é"},     {"{\0 \0\xE9\0"s, "{ é"},
      {"\xFE\xFF\0{\0\xE9"s, "{é"}, {"\0\0\0{\0\0\0\xE9"s, "{é"}, {"\xFF\xFE\0\0{\0\0\0"s, "{"},
      {"{\0\x3D\xD8"s, {}},  // half a pair
  };
  for (const auto& [bytes, text] : rows) EXPECT_EQ(textAsUTF8(bytes), text) << bytes;
}

}  // namespace
}  // namespace ferrin::core
