#include "tools/sampleprovider/Prompt.h"

#include <gtest/gtest.h>

#include "tests/support/Thrown.h"

namespace ferrin::sampleprovider {
namespace {

TEST(Prompt, isReadFromEveryShapeOfInput) {
  const std::pair<std::string, std::string> rows[] = {
      {R"({"model":"m","input":"h\u00e9"})", "hé"},
      {R"({"input":[{"role":"user","content":"a"},{"content":"b"}],"model":"m","stream":false})", "a\nb"},
      {R"({"model":"m","input":[{"content":[{"type":"input_text","text":"a"},{"text":"b"}]}]})", "a\nb"},
      {R"({"model":"m","input":"a","tools":[{"model":"x","stream":true,"input":1.5}],"metadata":{"input":"b"}})",
       "a"},
  };
  for (const auto& [body, text] : rows) {
    const Prompt prompt = readPrompt(body);
    EXPECT_EQ(prompt.model, "m") << body;
    EXPECT_EQ(prompt.text, text) << body;
    EXPECT_FALSE(prompt.stream) << body;
  }
  EXPECT_TRUE(readPrompt(R"({"stream":true,"input":"","model":"m"})").stream);
}

TEST(Prompt, isRefusedWithAReason) {
  const std::pair<std::string, std::string> rows[] = {
      {"", "not a JSON object"},
      {"[]", "not a JSON object"},
      {R"("text")", "not a JSON object"},
      {R"({"model":"m","input":"a")", "not a JSON object"},
      {R"({"model":"m","input":"a"}})", "not a JSON object"},
      {"{\"model\":\"m\",\"input\":\"\xff\"}", "not a JSON object"},
      {R"({"model":7,"input":"a"})", "'model'"},
      {R"({"model":"m"})", "'input'"},
      {R"({"model":"m","input":[{"content":[{"image":"a"}]}]})", "'input'"},
  };
  for (const auto& [body, reason] : rows) {
    const std::string thrown = tests::thrownBy([&text = body] { readPrompt(text); });
    EXPECT_NE(thrown.find(reason), std::string::npos) << body << ": " << thrown;
  }
}

}  // namespace
}  // namespace ferrin::sampleprovider
