#include "providertest/CurlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "providertest/AnswerText.h"
#include "providertest/DirectRequest.h"
#include "tests/providertest/ScriptedServer.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::providertest {
namespace {

using namespace std::chrono_literals;
using boost::beast::http::field;
using testing::HasSubstr;
using tests::ScriptedServer;

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

std::string answerTo(HttpRequest request, const std::filesystem::path& trusted = {}) {
  CurlClient client(trusted);
  auto future = sent(client, std::move(request));
  return future.wait_for(60s) == std::future_status::ready ? future.get() : "no completion";
}

TEST(CurlClient, postsTheRequestAsItIsAndNeverTheKeyToAServerThatItIsSentOnTo) {
  const ScriptedServer other({{hello}});
  const ScriptedServer first({{found + "/second\r\n\r\n"}, {found + other.url("/third") + "\r\n\r\n"}});
  const HttpRequest request = requestTo(first.url("/v1/responses"), std::string(500'000, 'p'));
  EXPECT_EQ(answerTo(request), "Hello");
  for (const auto& seen : {first.requests.at(0), first.requests.at(1), other.requests.at(0)}) {
    EXPECT_EQ(seen.method_string(), "POST");
    EXPECT_TRUE(seen.body() == request.body);
    EXPECT_EQ(seen[field::content_type], "application/json");
    EXPECT_EQ(seen[field::authorization], seen.target() == "/third" ? "" : "Bearer sk-secret");
    EXPECT_EQ(seen.count(field::expect), 0U);
  }
}

TEST(CurlClient, reportsWhatGoesWrongAndNeverTheKey) {
  const ScriptedServer cutOff({{length100}});
  const ScriptedServer nonsense({{"220 mail ready\r\n"}});
  const ScriptedServer toFile({{found + "file:///etc/passwd\r\n\r\n"}});
  const std::string closedPort = ScriptedServer({}).url("/responses");
  for (const auto& [url, error] : {
           std::pair<std::string, const char*>("localhost/responses", "unsupported URL"),
           {"http:///responses", "unsupported URL"},
           {"file:///etc/passwd", "unsupported URL"},
           {closedPort, "Failed to connect"},
           {cutOff.url("/responses"), "99 bytes"},
           {nonsense.url("/responses"), "HTTP/0.9"},
           {toFile.url("/responses"), "rotocol"},
       }) {
    const std::string answer = answerTo(requestTo(url));
    EXPECT_THAT(answer, testing::StartsWith("请求失败："));
    EXPECT_THAT(answer, HasSubstr(error));
    EXPECT_THAT(answer, testing::Not(HasSubstr("sk-secret")));
  }
  HttpRequest split = requestTo(closedPort);
  split.headers[0].value = "Bearer sk-secret\r\nX-Other: 1";
  EXPECT_EQ(answerTo(split), "请求失败：Authorization: line breaks and control characters can't be sent");
}

TEST(CurlClient, talksOnlyToAServerItTrusts) {
  const tests::TemporaryFolder folder;
  const tests::RunningProvider provider("sk-secret", folder / "certificate.pem");
  const HttpRequest request = requestTo(provider.baseURL() + "/responses", "说 \"so\"\n🚀");
  EXPECT_EQ(answerTo(request, folder / "certificate.pem"), "说 \"so\"\n🚀");
  EXPECT_EQ(answerTo(request), "请求失败：SSL certificate problem: self-signed certificate");
}

TEST(CurlClient, givesUpWhenNothingHappensForTooLongAndWaitsForWhatKeepsComing) {
  const auto answerWithin = [](const std::chrono::milliseconds timeout, const ScriptedServer& server) {
    HttpRequest request = requestTo(server.url("/responses"));
    request.timeout = timeout;
    return answerTo(request);
  };
  for (const std::string& piece : {std::string(), length100}) {
    EXPECT_EQ(answerWithin(300ms, ScriptedServer({{piece}}, 1h)), "请求失败：the request timed out");
  }
  const ScriptedServer slow(
      {{hello.substr(0, 40), hello.substr(40, 5), hello.substr(45, 5), hello.substr(50)}}, 400ms);
  EXPECT_EQ(answerWithin(1000ms, slow), "Hello");
}

TEST(CurlClient, letsRequestsRunSideBySideAndDropsThemWhenItGoes) {
  const ScriptedServer silent({{""}}, 1h);
  const ScriptedServer prompt({{hello}});
  std::future<std::string> dropped;
  {
    CurlClient client;
    dropped = sent(client, requestTo(silent.url("/responses")));
    EXPECT_EQ(sent(client, requestTo(prompt.url("/responses"))).get(), "Hello");
  }
  EXPECT_THROW(dropped.get(), std::future_error) << "its promise goes uncalled with the client";
}

}  // namespace
}  // namespace ferrin::providertest
