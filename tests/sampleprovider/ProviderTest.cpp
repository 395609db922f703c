#include "tools/sampleprovider/Provider.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace ferrin::sampleprovider {
namespace {

using json = nlohmann::json;

TEST(AnswerText, isSplitAsAskedAndNeverInsideACharacter) {
  const auto deltas = [](const AnswerText& text) {
    std::string all;
    for (std::size_t index = 0; index < text.deltaEnds.size(); ++index) {
      all.append(text.delta(index)).append("|");
    }
    return all;
  };
  EXPECT_EQ(deltas(echoText("abcde", 2)), "ab|cd|e|");
  EXPECT_EQ(deltas(echoText("aéé", 2)), "a|é|é|");
  EXPECT_EQ(deltas(echoText("默😀", 1)), "默|😀|");
  EXPECT_EQ(deltas(echoText("", 3)), "");
  EXPECT_EQ(deltas(fillerText(30, 7)).size(), 30U * 8);
}

TEST(Provider, answersByPathKeyAndMethod) {
  Options options;
  options.prefix = "/v1";
  Provider provider(options, "secret");
  struct Row {
    Request request;
    unsigned status;
    std::string code;
  };
  const std::string key = "Bearer secret";
  const std::string prompt = R"({"model":"m","input":"hi"})";
  const Row rows[] = {
      {{"POST", "/v1/responses", key, prompt}, 200, ""},
      {{"POST", "/v1/responses?a=b", key, prompt}, 200, ""},
      {{"GET", "/v1/models", key, ""}, 200, ""},
      {{"POST", "/v1/responses", "Bearer wrong", prompt}, 401, "invalid_api_key"},
      {{"GET", "/v1/models", "", ""}, 401, "invalid_api_key"},
      {{"POST", "/responses", key, prompt}, 404, "not_found"},
      {{"POST", "/v1//responses", key, prompt}, 404, "not_found"},
      {{"GET", "/v1/responses", key, ""}, 405, "method_not_allowed"},
      {{"POST", "/v1/models", key, ""}, 405, "method_not_allowed"},
      {{"POST", "/v1/responses", key, "{}"}, 400, "invalid_request"},
  };
  for (const Row& row : rows) {
    const Reply reply = provider.reply(row.request, 0);
    EXPECT_EQ(reply.status, row.status) << row.request.method << ' ' << row.request.target;
    if (row.status == 200) continue;
    EXPECT_EQ(json::parse(reply.body).at("error").at("code"), row.code) << row.request.target;
  }
}

TEST(Provider, givesTheErrorItWasToldToOnlyToThoseWithTheKey) {
  Options options;
  options.status = 429;
  Provider provider(options, "secret");
  EXPECT_EQ(provider.reply({"GET", "/models", "Bearer secret", ""}, 0).status, 429U);
  EXPECT_EQ(provider.reply({"GET", "/models", "Bearer other", ""}, 0).status, 401U);
}

TEST(Head, tellsAnOldClientThatTheConnectionStays) {
  const ReplyFraming old{.httpVersion = 10, .keepAlive = true};
  EXPECT_NE(head({200, "12345", {}, {}}, old).find("\r\nConnection: keep-alive\r\n"), std::string::npos);
}

}  // namespace
}  // namespace ferrin::sampleprovider
