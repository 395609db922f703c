#include "tools/sampleprovider/Prompt.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ferrin::sampleprovider {
namespace {

TEST(Prompt, isReadFromEveryShapeOfInput) {
  struct Row {
    std::string body;
    std::string text;
    bool stream;
  };
  const std::vector<Row> rows{
      {R"({"model":"m","input":"h\u00e9"})", "hé", false},
      {R"({"stream":true,"input":"","model":"m"})", "", true},
      {R"({"model":"m","input":[{"role":"user","content":"a"},{"content":"b"}],"stream":false})", "a\nb",
       false},
      {R"({"model":"m","input":[{"content":[{"type":"input_text","text":"a"},{"text":"b"}]}]})", "a\nb",
       false},
      {R"({"model":"m","input":"a","tools":[{"model":"x","stream":true,"input":1.5}],"metadata":{"input":"b"}})",
       "a", false},
  };
  for (const Row& row : rows) {
    const Prompt prompt = readPrompt(row.body);
    EXPECT_EQ(prompt.model, "m") << row.body;
    EXPECT_EQ(prompt.text, row.text) << row.body;
    EXPECT_EQ(prompt.stream, row.stream) << row.body;
  }
}

TEST(Prompt, isRefusedWithAReason) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"", "not a JSON object"},
      {"hello", "not a JSON object"},
      {"[]", "not a JSON object"},
      {"7", "not a JSON object"},
      {R"("text")", "not a JSON object"},
      {R"({"model":"m","input":"a")", "not a JSON object"},
      {R"({"model":"m","input":"a"}})", "not a JSON object"},
      {"{\"model\":\"m\",\"input\":\"\xff\"}", "not a JSON object"},
      {R"({"input":"a"})", "'model'"},
      {R"({"model":7,"input":"a"})", "'model'"},
      {R"({"model":"m"})", "'input'"},
      {R"({"model":"m","input":[{"content":[{"image":"a"}]}]})", "'input'"},
  };
  for (const auto& [body, reason] : rows) {
    try {
      readPrompt(body);
      ADD_FAILURE() << "accepted: " << body;
    } catch (const BadPrompt& error) {
      EXPECT_NE(std::string(error.what()).find(reason), std::string::npos) << body << ": " << error.what();
    }
  }
}

}  // namespace
}  // namespace ferrin::sampleprovider
