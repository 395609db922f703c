#include "providertest/AnswerText.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::providertest {
namespace {

using namespace std::string_literals;

std::string shown(std::optional<int> status, const std::string& body) {
  return answerText({.error = std::nullopt, .status = status, .body = body});
}

/// In answers.txt each body is followed by what is shown for it.
TEST(AnswerText, isTheTextInItsPlacesOrWhyThereIsNone) {
  std::istringstream answers(tests::contentOf(ANSWERS));
  for (std::string body, text; std::getline(answers, body);) {
    ASSERT_TRUE(std::getline(answers, text));
    EXPECT_EQ(shown(200, body), text) << body;
  }
  const std::string unreadable = "服务未返回可读取结果。";
  for (const std::string& encoded :
       {"{\0}\0"s, "\0{\0}"s, "{\0\0\0}\0\0\0"s, "\0\0\0{\0\0\0}"s, "\xEF\xBB\xBF{}"s, "\xFE\xFF\0{\0}"s}) {
    EXPECT_NE(shown(200, encoded), unreadable) << encoded;
  }
  EXPECT_EQ(shown(200, "\xFF\xFE{\0}\0"s), "服务未返回文本。");
  for (const std::string& bad : {"{\0\x3D\xD8"s, "{}\0x"s, "{\"a\":\"\xFF\"}"s, std::string(100'000, '{')}) {
    EXPECT_EQ(shown(200, bad), unreadable);
  }
  for (const int status : {199, 300}) {
    EXPECT_EQ(shown(status, "{\"text\":1}"), "请求失败：HTTP " + std::to_string(status));
  }
  EXPECT_EQ(shown(299, "{}") + shown({}, "{}"), "{}{}");
}

}  // namespace
}  // namespace ferrin::providertest
