#include "providertest/AnswerText.h"

#include <gtest/gtest.h>

namespace ferrin::providertest {
namespace {

using namespace std::string_literals;

std::string answered(int status, const std::string& body) {
  return answerText({.error = std::nullopt, .status = status, .body = body});
}

TEST(AnswerText, findsTheTextInItsPlaces) {
  const std::pair<std::string, std::string> rows[] = {
      {R"({"output_text":"","output":[{"content":[{"text":"x"}]}]})", ""},
      {R"({"output_text":null,"output":[{"content":[{"text":"x"}]}]})", "x"},
      {R"({"output":[{"content":[{"text":"Hel"},{"text":"lo"}]},{"content":[{"text":" 你"}]}]})", "Hello 你"},
      {R"({"output":[{"content":[{"text":""}]}]})", ""},
      {R"({"output":[{},{"content":{}},{"content":[{"type":"t"},{"text":7},{"text":"x"}]}]})", "x"},
      {R"({"output":[{"content":[{"text":"a"},"b"]},{"content":[{"text":"x"}]}]})", "x"},
      {"\xEF\xBB\xBF {\"output_text\":\"x\"}\r\n", "x"},
      {"\xFF\xFE{\0}\0"s, "服务未返回文本。"},
  };
  for (const auto& [body, text] : rows) EXPECT_EQ(answered(200, body), text) << body;
  for (const std::string body : {R"({"output":[{"content":[{"text":"a"}]},"b"]})",
                                 R"({"output":{"content":[{"text":"a"}]}})", R"({"text": "a"})"}) {
    EXPECT_EQ(answered(200, body), body) << "has no text, and is shown itself";
  }
  for (const std::string& body : {R"([{"output_text":"x"}])"s, "Hello"s, ""s, "{}{}"s,
                                  "{\"output_text\":\"\xFF\"}"s, "{\"a\":" + std::string(100'000, '[')}) {
    EXPECT_EQ(answered(200, body), "服务未返回可读取结果。") << body.substr(0, 40);
  }
}

TEST(AnswerText, putsFailuresBeforeTheBody) {
  const std::string body = R"({"output_text":"Hello"})";
  EXPECT_EQ(answerText({.error = "no connection", .status = 200, .body = body}), "请求失败：no connection");
  for (const int status : {199, 300}) {
    EXPECT_EQ(answered(status, body), "请求失败：HTTP " + std::to_string(status));
  }
  for (const int status : {200, 299}) EXPECT_EQ(answered(status, body), "Hello");
  EXPECT_EQ(answerText({.error = std::nullopt, .status = std::nullopt, .body = body}), "Hello");
}

}  // namespace
}  // namespace ferrin::providertest
