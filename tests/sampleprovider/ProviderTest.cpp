#include "tools/sampleprovider/Provider.h"

#include <gtest/gtest.h>

#include "tests/support/Thrown.h"
#include "tools/sampleprovider/Prompt.h"

namespace ferrin::sampleprovider {
namespace {

TEST(Prompt, isReadFromEveryShapeOfInputOrRefusedWithAReason) {
  const auto textOf = [](const std::string& body) {
    std::string text;
    const std::string thrown = tests::thrownBy([&] { text = readPrompt(body).text; });
    return thrown == "nothing" ? text : thrown;
  };
  const std::pair<std::string, std::string> rows[] = {
      {R"({"input":[{"role":"user","content":"h\u00e9"},{"content":"b"}],"model":"m","stream":false})",
       "hé\nb"},
      {R"({"model":"m","input":[{"content":[{"type":"input_text","text":"a"},{"text":"b"}]}]})", "a\nb"},
      {R"({"model":"m","input":"a","tools":[{"model":7,"input":1.5}],"metadata":{"input":"b"}})", "a"},
      {R"({"model":"m","input":"a"}})", "not a JSON object"},
      {"{\"model\":\"m\",\"input\":\"\xff\"}", "not a JSON object"},
      {R"({"model":7,"input":"a"})", "'model'"},
      {R"({"model":"m"})", "'input'"},
      {R"({"model":"m","input":[{"content":[{"image":"a"}]}]})", "'input'"},
  };
  for (const auto& [body, wanted] : rows) EXPECT_NE(textOf(body).find(wanted), std::string::npos) << body;
}

TEST(Provider, answersByPathKeyAndMethod) {
  Options options;
  options.prefix = "/v1";
  Provider provider(options, "secret");
  const std::string key = "Bearer secret";
  const std::string prompt = R"({"model":"m","input":"hi"})";
  const std::pair<Request, unsigned> rows[] = {
      {{"POST", "/v1/responses?a=b", key, prompt}, 200},
      {{"GET", "/v1/models", key, ""}, 200},
      {{"POST", "/v1/responses", "Bearer wrong", prompt}, 401},
      {{"GET", "/v1/models", "", ""}, 401},
      {{"POST", "/responses", key, prompt}, 404},
      {{"POST", "/v1//responses", key, prompt}, 404},
      {{"GET", "/v1/responses", key, ""}, 405},
      {{"POST", "/v1/models", key, ""}, 405},
      {{"POST", "/v1/responses", key, "{}"}, 400},
  };
  for (const unsigned told : {200U, 429U}) {
    options.status = told;
    for (const auto& [request, status] : rows) {
      const bool seesIt = status != 401 && status != 404 && told != 200;
      EXPECT_EQ(provider.reply(request, 0).status, seesIt ? told : status)
          << request.method << " " << request.target;
    }
  }
}

}  // namespace
}  // namespace ferrin::sampleprovider
