#include "core/TextEncoding.h"

#include <gtest/gtest.h>

namespace ferrin::core {
namespace {

using namespace std::string_literals;

TEST(TextAsUTF8, tellsTheEncodingByMarkOrZeros) {
  struct Row {
    const char* name;
    std::string bytes, result;
  };
  const Row rows[] = {
      {"UTF-8", "{é", "{é"},
      {"UTF-8 with mark", "\xEF\xBB\xBF{é", "{é"},
      {"UTF-16 LE", "{\0 \0\xE9\0"s, "{ é"},
      {"UTF-16 BE", "\0{\0 \0\xE9"s, "{ é"},
      {"UTF-16 LE with mark", "\xFF\xFE\x2D\x4E\x2D\x4E"s, "中中"},
      {"UTF-16 BE with mark", "\xFE\xFF\0{\0\xE9"s, "{é"},
      {"UTF-32 LE", "{\0\0\0 \0\0\0\xE9\0\0\0"s, "{ é"},
      {"UTF-32 BE", "\0\0\0{\0\0\0 \0\0\0\xE9"s, "{ é"},
      {"UTF-32 LE with mark", "\xFF\xFE\0\0{\0\0\0"s, "{"},
      {"UTF-32 BE with mark", "\0\0\xFE\xFF\0\0\0{"s, "{"},
      {"a pair of surrogates", "{\0\x3D\xD8\x80\xDE"s, "{🚀"},
      {"half a pair", "{\0\x3D\xD8"s, "none"},
      {"the halves swapped", "{\0\x80\xDE\x3D\xD8"s, "none"},
      {"half a unit of UTF-16", "{\0x"s, "none"},
      {"beyond Unicode", "\0\0\0{\0\x11\0\0"s, "none"},
      {"empty", "", ""},
      {"ill-formed UTF-8 is passed on", "a\xFF", "a\xFF"},
  };
  for (const Row& row : rows) EXPECT_EQ(textAsUTF8(row.bytes).value_or("none"), row.result) << row.name;
}

}  // namespace
}  // namespace ferrin::core
