#include "providertest/CurlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
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
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using tests::reply;
using tests::ScriptedServer;

const std::string hello = R"({"output_text":"Hello"})";
const std::string length100 = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{";

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

TEST(CurlClient, postsTheRequestAsItIsAndTakesALargeAnswer) {
  const std::string large(8 << 20, 'x');
  const ScriptedServer server({reply("200 OK", R"({"output_text":")" + large + "\"}")});
  const HttpRequest request = requestTo(server.url("/v1/responses"), std::string(2'000'000, 'p'));
  EXPECT_TRUE(answerTo(request) == large);
  const auto& seen = server.requests.at(0);
  EXPECT_EQ(seen.method_string(), "POST");
  EXPECT_EQ(seen.target(), "/v1/responses");
  EXPECT_TRUE(seen.body() == request.body);
  EXPECT_EQ(seen[field::authorization], "Bearer sk-secret");
  EXPECT_EQ(seen[field::content_type], "application/json");
  EXPECT_EQ(seen.count(field::authorization) + seen.count(field::content_type), 2U);
  EXPECT_EQ(seen.count(field::expect), 0U);
}

TEST(CurlClient, reportsWhatGoesWrongAndNeverTheKey) {
  const ScriptedServer cutOff({{.pieces = {length100}}});
  const ScriptedServer nonsense({{.pieces = {"220 mail ready\r\n"}}});
  const ScriptedServer toFile({reply("302 Found", "", "Location: file:///etc/passwd\r\n")});
  const ScriptedServer found({reply("302 Found", hello)});
  const std::string closedPort = ScriptedServer({}).url("/responses");
  const std::pair<std::string, const char*> rows[] = {
      {"localhost/responses", "unsupported URL"}, {"http:///responses", "unsupported URL"},
      {"file:///etc/passwd", "unsupported URL"},  {closedPort, "Failed to connect"},
      {cutOff.url("/responses"), "99 bytes"},     {nonsense.url("/responses"), "HTTP/0.9"},
      {toFile.url("/responses"), "rotocol"},      {found.url("/responses"), "HTTP 302"},
  };
  for (const auto& [url, error] : rows) {
    EXPECT_THAT(answerTo(requestTo(url)),
                AllOf(StartsWith("请求失败："), HasSubstr(error), Not(HasSubstr("sk-secret"))));
  }
  HttpRequest split = requestTo(closedPort);
  split.headers[0].value = "Bearer sk-secret\r\nX-Other: 1";
  EXPECT_EQ(answerTo(split), "请求失败：Authorization: line breaks and control characters can't be sent");
}

TEST(CurlClient, followsRedirectsWithoutGivingTheKeyToAnotherServer) {
  for (const auto& [status, method] :
       {std::pair("301 Moved Permanently", "GET"), std::pair("302 Found", "GET"),
        std::pair("303 See Other", "GET"), std::pair("307 Temporary Redirect", "POST"),
        std::pair("308 Permanent Redirect", "POST")}) {
    const ScriptedServer other({reply("200 OK", hello)});
    const ScriptedServer first({reply(status, "", "Location: /second\r\n"),
                                reply(status, "", "Location: " + other.url("/third") + "\r\n")});
    const HttpRequest request = requestTo(first.url("/responses"));
    EXPECT_EQ(answerTo(request), "Hello") << status;
    const auto& second = first.requests.at(1);
    const auto& third = other.requests.at(0);
    EXPECT_EQ(second.method_string(), method) << status;
    EXPECT_EQ(second[field::authorization], "Bearer sk-secret") << status;
    EXPECT_EQ(third.method_string(), method) << status;
    EXPECT_EQ(third.count(field::authorization), 0U) << status;
    EXPECT_EQ(third.body(), third.method_string() == "POST" ? request.body : "") << status;
  }
}

TEST(CurlClient, talksOnlyToAServerItTrusts) {
  const tests::TemporaryFolder folder;
  const tests::RunningProvider provider("sk-secret", folder / "certificate.pem");
  const HttpRequest request = requestTo(provider.baseURL() + "/responses", "说 \"so\"\n🚀");
  EXPECT_EQ(answerTo(request, folder / "certificate.pem"), "说 \"so\"\n🚀");
  EXPECT_EQ(answerTo(request), "请求失败：SSL certificate problem: self-signed certificate");
}

TEST(CurlClient, goesThroughTheProxyOfTheEnvironment) {
  const ScriptedServer proxy({reply("200 OK", hello)});
  setenv("http_proxy", proxy.url("").c_str(), 1);
  EXPECT_EQ(answerTo(requestTo("http://provider.invalid/responses")), "Hello");
  unsetenv("http_proxy");
  EXPECT_EQ(proxy.requests.at(0).target(), "http://provider.invalid/responses");
}

TEST(CurlClient, givesUpWhenNothingHappensForTooLongAndWaitsForWhatKeepsComing) {
  const auto answerWithin = [](const std::chrono::milliseconds timeout, const tests::Reply& reply) {
    const ScriptedServer server({reply});
    HttpRequest request = requestTo(server.url("/responses"));
    request.timeout = timeout;
    return answerTo(request);
  };
  EXPECT_EQ(answerWithin(300ms, {.pieces = {""}, .gap = 1h}), "请求失败：the request timed out");
  EXPECT_EQ(answerWithin(300ms, {.pieces = {length100}, .gap = 1h}), "请求失败：the request timed out");
  EXPECT_EQ(answerWithin(1500ms, {.pieces = {"HTTP/1.1 200 OK\r\nContent-Length: 23\r\n\r\n", "{\"output",
                                             "_text\":", "\"Hel", "lo\"}"},
                                  .gap = 400ms}),
            "Hello");
}

TEST(CurlClient, letsRequestsRunSideBySideAndDropsThemWhenItGoes) {
  const ScriptedServer silent({{.pieces = {""}, .gap = 1h}});
  const ScriptedServer prompt({reply("200 OK", hello)});
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
