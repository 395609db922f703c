#include "core/Text.h"

#include <gtest/gtest.h>

namespace ferrin::core {
namespace {

struct Row {
  const char* name;
  std::string input;
  std::string result;
};

TEST(CanonicalURL, keepsTheFirstWordWithoutOuterSlashes) {
  const std::string url = "https://provider.example/v1";
  const Row rows[] = {
      {"surrounding blanks, slash and line break", "  " + url + "/\n", url},
      {"every trailing slash goes", url + "//", url},
      {"further words go", url + " and more", url},
      {"empty", "", ""},
      {"only white space", " \t\r\n ", ""},
      {"one slash", "/", ""},
      {"three slashes", "///", ""},
      {"bare scheme", "https://", "https:"},
      {"leading slashes go too", "/relative/path/", "relative/path"},
      {"case and inner slashes are kept", "HTTPS://Host//a/B", "HTTPS://Host//a/B"},
      {"no-break space ends a word", url + "\u00A0x", url},
      {"ideographic space and line separator surround", "\u3000\u2028" + url + "\u0085", url},
      {"non-ASCII is no space", "https://例子.example/路径/", "https://例子.example/路径"},
      {"broken UTF-8 is kept", "http://h/\xFF/", "http://h/\xFF"},
  };
  for (const Row& row : rows) EXPECT_EQ(canonicalURL(row.input), row.result) << row.name;
}

TEST(Trimmed, removesUnicodeWhiteSpaceFromBothEndsOnly) {
  const Row rows[] = {
      {"inner space stays", " \t a b\r\n", "a b"},
      {"wide spaces", "\u3000密 钥\u2003", "密 钥"},
      {"blank", "\u00A0\u2029 ", ""},
      {"zero-width space is none", "\u200B", "\u200B"},
      {"a truncated sequence at the end", " a\xE3\x80", "a\xE3\x80"},
  };
  for (const Row& row : rows) EXPECT_EQ(trimmed(row.input), row.result) << row.name;
}

TEST(IsUTF8, refusesWhatNoDecoderAccepts) {
  for (const char* good : {"", "abc", "默认", "\xF0\x9F\x98\x80"}) EXPECT_TRUE(isUTF8(good)) << good;
  for (const char* bad : {"\xFF", "a\x80", "\xC0\xAF", "\xED\xA0\x80", "\xE3\x80", "\xF5\x80\x80\x80"}) {
    EXPECT_FALSE(isUTF8(bad)) << bad;
  }
}

}  // namespace
}  // namespace ferrin::core
