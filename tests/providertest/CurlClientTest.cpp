#include "providertest/CurlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "providertest/AnswerText.h"
#include "providertest/DirectRequest.h"
#include "tests/providertest/Peers.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::providertest {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using tests::Connection;
using tests::Upstream;

const std::string hello = "HTTP/1.1 200 OK\r\nContent-Length: 23\r\n\r\n{\"output_text\":\"Hello\"}";
const std::string length100 = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{";
const std::string found = "HTTP/1.1 307 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: ";

HttpRequest requestTo(const std::string& url, const std::string& prompt = "p") {
  return *directRequest(url, "sk-secret", "m", prompt);
}

std::future<std::string> sent(HttpClient& client, HttpRequest request) {
  auto promise = std::make_shared<std::promise<std::string>>();
  client.send(std::move(request),
              [promise](const HttpResult& result) { promise->set_value(answerText(result)); });
  return promise->get_future();
}

TEST(CurlClient, postsTheRequestAsItIsAndNeverTheKeyToAServerThatItIsSentOnTo) {
  CurlClient client;
  Upstream first, other;
  const HttpRequest request = requestTo(first.url("/v1/responses"), std::string(500'000, 'p'));
  auto answer = sent(client, request);
  for (auto& [server, reply] : {std::pair(&first, found + "/second\r\n\r\n"),
                                {&first, found + other.url("/third") + "\r\n\r\n"},
                                {&other, hello}}) {
    Connection connection = server->accept();
    const std::string seen = connection.readAnswer();
    EXPECT_TRUE(seen.starts_with("POST /") && seen.ends_with("\r\n\r\n" + request.body));
    EXPECT_THAT(seen, HasSubstr("Content-Type: application/json\r\n"));
    EXPECT_THAT(seen, Not(HasSubstr("Expect")));
    EXPECT_EQ(seen.find("Authorization: Bearer sk-secret\r\n") != std::string::npos, server == &first);
    connection.send(reply);
  }
  EXPECT_EQ(answer.get(), "Hello");
}

TEST(CurlClient, reportsWhatGoesWrongAndNeverTheKey) {
  CurlClient client;
  Upstream upstream;
  std::vector<std::string> answers;
  for (const auto& reply :
       {length100, std::string("220 mail ready\r\n"), found + "file:///etc/passwd\r\n\r\n"}) {
    auto answer = sent(client, requestTo(upstream.url()));
    Connection connection = upstream.accept();
    connection.readAnswer();
    connection.send(reply);
    connection.close();
    answers.push_back(answer.get());
  }
  for (const std::string url : {"localhost/responses", "http:///responses", "file:///etc/passwd"}) {
    answers.push_back(sent(client, requestTo(url)).get());
  }
  HttpRequest split = requestTo(upstream.url());
  split.headers[0].value += "\r\nX-Other: 1";
  answers.push_back(sent(client, split).get());
  EXPECT_THAT(answers,
              testing::ElementsAre(
                  HasSubstr("99 bytes"), HasSubstr("HTTP/0.9"), HasSubstr("rotocol"),
                  "请求失败：unsupported URL", "请求失败：unsupported URL", "请求失败：unsupported URL",
                  "请求失败：Authorization: line breaks and control characters can't be sent"));
  EXPECT_THAT(answers, testing::Each(Not(HasSubstr("sk-secret"))));
}

TEST(CurlClient, talksOnlyToAServerItTrusts) {
  const tests::TemporaryFolder folder;
  const tests::RunningProvider provider("sk-secret", folder / "certificate.pem");
  const HttpRequest request = requestTo(provider.baseURL() + "/responses", "说 \"so\"\n🚀");
  CurlClient trusting(folder / "certificate.pem");
  EXPECT_EQ(sent(trusting, request).get(), "说 \"so\"\n🚀");
  CurlClient ordinary;
  EXPECT_EQ(sent(ordinary, request).get(), "请求失败：SSL certificate problem: self-signed certificate");
}

TEST(CurlClient, givesUpOnSilenceWaitsForWhatKeepsComingAndDropsTheRestWhenItGoes) {
  Upstream upstream;
  std::optional<CurlClient> client(std::in_place);
  HttpRequest request = requestTo(upstream.url());
  auto dropped = sent(*client, request);
  const Connection silent = upstream.accept();
  request.timeout = 700ms;
  auto unanswered = sent(*client, request);
  const Connection alsoSilent = upstream.accept();
  auto answered = sent(*client, request);
  Connection slow = upstream.accept();
  slow.readAnswer();
  slow.send(hello.substr(0, 39));
  for (const std::size_t start : {39, 47, 55}) {
    EXPECT_TRUE(slow.silentFor(300ms));
    slow.send(hello.substr(start, 8));
  }
  EXPECT_EQ(answered.get(), "Hello");
  EXPECT_EQ(unanswered.get(), "请求失败：the request timed out");
  client.reset();
  EXPECT_THROW(dropped.get(), std::future_error) << "its promise goes uncalled with the client";
}

}  // namespace
}  // namespace ferrin::providertest
