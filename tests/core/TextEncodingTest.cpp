#include "core/TextEncoding.h"

#include <gtest/gtest.h>

namespace ferrin::core {
namespace {

using namespace std::string_literals;

TEST(TextAsUTF8, tellsTheEncodingByMarkOrZeros) {
  const std::pair<std::string, std::optional<std::string>> rows[] = {
      {"", ""},
      {"a\xFF", "a\xFF"},
      {"\xEF\xBB\xBF{é", "{é"},
      {"{\0 \0\xE9\0"s, "{ é"},
      {"\0{\0 \0\xE9"s, "{ é"},
      {"\xFF\xFE\x2D\x4E\x2D\x4E"s, "中中"},
      {"\xFE\xFF\0{\0\xE9"s, "{é"},
      {"{\0\0\0\xE9\0\0\0"s, "{é"},
      {"\0\0\0{\0\0\0\xE9"s, "{é"},
      {"\xFF\xFE\0\0{\0\0\0"s, "{"},
      {"\0\0\xFE\xFF\0\0\0{"s, "{"},
      {"{\0\x3D\xD8\x80\xDE"s, "{🚀"},
      {"{\0\x3D\xD8"s, {}},          // half a pair
      {"{\0\x80\xDE\x3D\xD8"s, {}},  // its halves swapped
      {"{\0x"s, {}},                 // half a unit
      {"\0\0\0{\0\x11\0\0"s, {}},    // beyond Unicode
  };
  for (const auto& [bytes, text] : rows) EXPECT_EQ(textAsUTF8(bytes), text) << bytes;
}

}  // namespace
}  // namespace ferrin::core
