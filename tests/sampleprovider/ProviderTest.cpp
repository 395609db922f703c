#include "tools/sampleprovider/Provider.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace ferrin::sampleprovider {
namespace {

using json = nlohmann::json;

Answer answerWith(AnswerText text) {
  return {1, 1000, "m", 5, std::make_shared<AnswerText>(std::move(text))};
}

/// The stream's events as their JSON, after a look at what surrounds it.
std::vector<json> eventsOf(Events events) {
  std::vector<json> all;
  while (!events.atEnd()) {
    std::string text;
    events.appendNext(text);
    const auto data = text.find("\ndata: ");
    EXPECT_TRUE(text.starts_with("event: ") && data != std::string::npos && text.ends_with("}\n\n")) << text;
    all.push_back(json::parse(text.substr(data + 7)));
    EXPECT_EQ(text.substr(7, data - 7), all.back().at("type"));
    EXPECT_EQ(all.back().at("sequence_number"), all.size() - 1);
  }
  return all;
}

TEST(Answer, streamsWhatItSaysAsAWhole) {
  const Answer answer = answerWith(echoText("said \"so\"\n默认", 4));
  std::vector<std::string> types;
  std::string streamed;
  const auto events = eventsOf(Events(answer));
  for (const json& event : events) {
    if (types.empty() || types.back() != event.at("type")) types.push_back(event.at("type"));
    streamed += event.value("delta", "");
  }
  EXPECT_EQ(types,
            (std::vector<std::string>{
                "response.created", "response.in_progress", "response.output_item.added",
                "response.content_part.added", "response.output_text.delta", "response.output_text.done",
                "response.content_part.done", "response.output_item.done", "response.completed"}));
  EXPECT_EQ(streamed, answer.text->whole);
  EXPECT_EQ(events.at(events.size() - 4).at("text"), streamed);
  EXPECT_EQ(events.back().at("response"), json::parse(wholeAnswer(answer)));
  EXPECT_EQ(events.back().at("response").at("output").at(0).at("content").at(0).at("text"), streamed);
}

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
  options.retryAfterSeconds = 3;
  Provider provider(options, "secret");
  const Reply refused = provider.reply({"GET", "/models", "Bearer secret", ""}, 0);
  EXPECT_EQ(json::parse(refused.body).at("error").at("code"), "rate_limit_exceeded");
  EXPECT_NE(head(refused, {}).find("\r\nRetry-After: 3\r\n"), std::string::npos);
  EXPECT_EQ(provider.reply({"GET", "/models", "Bearer other", ""}, 0).status, 401U);
}

TEST(Head, framesTheBodyAsTheClientUnderstands) {
  const Reply whole{200, "12345", {}, {}};
  const Reply stream{200, {}, Events(answerWith(fillerText(1, 1))), {}};
  struct Row {
    const Reply& reply;
    ReplyFraming framing;
    const char *has, *hasNot;
  };
  const Row rows[] = {
      {whole, {11, true}, "\r\nContent-Length: 5\r\n", "Connection"},
      {whole, {11, false}, "\r\nConnection: close\r\n", "chunked"},
      {whole, {10, true}, "\r\nConnection: keep-alive\r\n", "chunked"},
      {stream, {11, true}, "\r\nTransfer-Encoding: chunked\r\n", "Content-Length"},
      {stream, {10, false}, "\r\nConnection: close\r\n", "chunked"},
  };
  for (const Row& row : rows) {
    const std::string text = head(row.reply, row.framing);
    EXPECT_TRUE(text.starts_with("HTTP/1.1 200 OK\r\n") && text.ends_with("\r\n\r\n")) << text;
    EXPECT_NE(text.find(row.has), std::string::npos) << row.has << " in " << text;
    EXPECT_EQ(text.find(row.hasNot), std::string::npos) << row.hasNot << " in " << text;
  }
}

}  // namespace
}  // namespace ferrin::sampleprovider
