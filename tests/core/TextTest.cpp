#include "core/Text.h"

#include <gtest/gtest.h>

namespace ferrin::core {
namespace {

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

}  // namespace
}  // namespace ferrin::core
