#include "providertest/AnswerText.h"

#include <gtest/gtest.h>

#include <map>

namespace ferrin::providertest {
namespace {

using namespace std::string_literals;

std::string answered(int status, const std::string& body) {
  return answerText({.error = std::nullopt, .status = status, .body = body});
}

TEST(AnswerText, findsTheTextInItsPlaces) {
  const std::map<std::string, std::string> rows{
      {R"({"output_text":"Hello","output":[]})", "Hello"},
      {R"({"output_text":""})", ""},
      {R"({"output_text":null,"output":[{"content":[{"text":"x"}]}]})", "x"},
      {R"({"output_text":1,"output":[{"content":[{"text":"x"}]}]})", "x"},
      {R"({"output_text":"a","output_text":"b"})", "b"},
      {R"({"output":[{"content":[{"text":"Hel"},{"text":"lo"}]},{"content":[{"text":" you"}]}]})",
       "Hello you"},
      {R"({"output":[{"content":[{"text":""}]}]})", ""},
      {R"({"output":[{"content":[{"type":"t"},{"text":7},{"text":"x"}]}]})", "x"},
      {R"({"output":[{},{"content":{}},{"content":[{"text":"x"}]}]})", "x"},
      {R"({"output":[{"content":[{"text":"a"},"b"]},{"content":[{"text":"x"}]}]})", "x"},
      {"{\0\"\0o\0u\0t\0p\0u\0t\0_\0t\0e\0x\0t\0\"\0:\0\"\0x\0\"\0}\0"s, "x"},
      {"\xEF\xBB\xBF {\"output_text\":\"x\"}\r\n", "x"},
  };
  for (const auto& [body, text] : rows) EXPECT_EQ(answered(200, body), text) << body;
  for (const std::string body :
       {R"({"output":[{"content":[{"text":"a"}]},"b"]})", R"({"output":[{"content":[]}]})",
        R"({"output":{"content":[{"text":"a"}]}})", R"({"text": "a"})"}) {
    EXPECT_EQ(answered(200, body), body) << "has no text, and is shown itself";
  }
  EXPECT_EQ(answered(200, "\xFF\xFE{\0}\0"s), "服务未返回文本。");
}

TEST(AnswerText, saysThatTheBodyCannotBeRead) {
  for (const std::string& body : {R"([{"output_text":"x"}])"s, "\"Hello\""s, "Hello"s, ""s, "{\"output_"s,
                                  "{}{}"s, "{\"output_text\":\"\xFF\"}"s, "{\0}\0x"s,
                                  R"({"output_text":"\ud83d"})"s, "{\"a\":" + std::string(1'000'000, '[')}) {
    EXPECT_EQ(answered(200, body), "服务未返回可读取结果。") << body.substr(0, 40);
  }
}

TEST(AnswerText, putsFailuresBeforeTheBody) {
  const std::string body = R"({"output_text":"Hello"})";
  EXPECT_EQ(answerText({.error = "no connection", .status = 200, .body = body}), "请求失败：no connection");
  for (const int status : {199, 300, 401}) {
    EXPECT_EQ(answered(status, body), "请求失败：HTTP " + std::to_string(status));
  }
  for (const int status : {200, 299}) EXPECT_EQ(answered(status, body), "Hello");
  EXPECT_EQ(answerText({.error = std::nullopt, .status = std::nullopt, .body = body}), "Hello");
}

}  // namespace
}  // namespace ferrin::providertest
