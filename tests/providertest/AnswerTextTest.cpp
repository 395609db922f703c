#include "providertest/AnswerText.h"

#include <gtest/gtest.h>

namespace ferrin::providertest {
namespace {

using namespace std::string_literals;

struct Row {
  const char* name;
  std::string body;
  std::string result;
};

TEST(ExtractText, findsTheTextInItsPlaces) {
  const Row rows[] = {
      {"whole", R"({"output_text":"Hello","output":[]})", "Hello"},
      {"empty whole", R"({"output_text":""})", ""},
      {"null whole", R"({"output_text":null,"output":[{"content":[{"text":"x"}]}]})", "x"},
      {"a number for whole", R"({"output_text":1,"output":[{"content":[{"text":"x"}]}]})", "x"},
      {"pieces are joined as they are",
       R"({"output":[{"content":[{"text":"Hel"},{"text":"lo"}]},{"content":[{"text":" world"}]}]})",
       "Hello world"},
      {"an empty piece is a piece", R"({"output":[{"content":[{"text":""}]}]})", ""},
      {"a part without text", R"({"output":[{"content":[{"type":"t"},{"text":7},{"text":"x"}]}]})", "x"},
      {"an item without content", R"({"output":[{},{"content":{}},{"content":[{"text":"x"}]}]})", "x"},
      {"a text among the parts", R"({"output":[{"content":[{"text":"a"},"b"]},{"content":[{"text":"x"}]}]})",
       "x"},
      {"a text among the items", R"({"output":[{"content":[{"text":"a"}]},"b"]})", "none"},
      {"no piece", R"({"output":[{"content":[]}]})", "none"},
      {"no items", R"({"output":[]})", "none"},
      {"output is an object", R"({"output":{"content":[{"text":"a"}]}})", "none"},
      {"neither", R"({"text":"a"})", "none"},
      {"the last of two members of one name", R"({"output_text":"a","output_text":"b"})", "b"},
  };
  for (const Row& row : rows) {
    const auto object = JSONObject::decode(row.body);
    ASSERT_TRUE(object) << row.name;
    EXPECT_EQ(extractText(*object).value_or("none"), row.result) << row.name;
  }
}

/// ASCII text in an encoding whose units are `width` bytes.
std::string widened(const std::string& text, std::size_t width, bool bigEndian) {
  std::string bytes;
  for (const char character : text) {
    const std::string zeros(width - 1, '\0');
    bytes += bigEndian ? zeros + character : character + zeros;
  }
  return bytes;
}

TEST(AnswerText, saysWhatCameBack) {
  const std::string hello = R"({"output_text":"Hello"})";
  const std::string unreadable = "服务未返回可读取结果。";
  const Row rows[] = {
      {"text", hello, "Hello"},
      {"white space around", " \r\n" + hello + "\n", "Hello"},
      {"UTF-8 with mark", "\xEF\xBB\xBF" + hello, "Hello"},
      {"UTF-16", widened(hello, 2, false), "Hello"},
      {"UTF-16 with mark", "\xFE\xFF" + widened(hello, 2, true), "Hello"},
      {"UTF-32", widened(hello, 4, true), "Hello"},
      {"UTF-32 with mark", "\xFF\xFE\0\0"s + widened(hello, 4, false), "Hello"},
      {"object without text", R"({"id": 1})", R"({"id": 1})"},
      {"object without text, not UTF-8", "\xFF\xFE" + widened(R"({"id": 1})", 2, false), "服务未返回文本。"},
      {"list", "[" + hello + "]", unreadable},
      {"a text", "\"Hello\"", unreadable},
      {"plain", "Hello", unreadable},
      {"empty", "", unreadable},
      {"cut off", hello.substr(0, 10), unreadable},
      {"two objects", hello + hello, unreadable},
      {"not UTF-8 inside", "{\"output_text\":\"\xFF\"}", unreadable},
      {"half of a UTF-16 unit", widened(hello, 2, false) + "x", unreadable},
      {"half a surrogate pair", R"({"output_text":"\ud83d"})", unreadable},
      {"a million open brackets", "{\"a\":" + std::string(1'000'000, '['), unreadable},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(answerText({.error = std::nullopt, .status = 200, .body = row.body}), row.result) << row.name;
  }
}

TEST(AnswerText, putsFailuresBeforeTheBody) {
  const std::string body = R"({"output_text":"Hello"})";
  EXPECT_EQ(answerText({.error = "no connection", .status = 200, .body = body}), "请求失败：no connection");
  for (const int status : {100, 199, 300, 304, 401, 500}) {
    EXPECT_EQ(answerText({.error = std::nullopt, .status = status, .body = body}),
              "请求失败：HTTP " + std::to_string(status));
  }
  for (const int status : {200, 204, 299}) {
    EXPECT_EQ(answerText({.error = std::nullopt, .status = status, .body = body}), "Hello");
  }
  EXPECT_EQ(answerText({.error = std::nullopt, .status = std::nullopt, .body = body}), "Hello");
}

}  // namespace
}  // namespace ferrin::providertest
