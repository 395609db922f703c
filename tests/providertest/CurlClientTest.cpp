#include "providertest/CurlClient.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>

#include "providertest/AnswerText.h"
#include "providertest/DirectRequest.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/ScriptedServer.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::providertest {
namespace {

using namespace std::chrono_literals;
using tests::reply;
using tests::ScriptedServer;

const std::string hello = R"({"output_text":"Hello"})";

HttpRequest requestTo(const std::string& url) { return *directRequest(url, "sk-secret", "m", "p"); }

std::future<HttpResult> sent(HttpClient& client, HttpRequest request) {
  auto promise = std::make_shared<std::promise<HttpResult>>();
  client.send(std::move(request), [promise](HttpResult result) { promise->set_value(std::move(result)); });
  return promise->get_future();
}

HttpResult resultOf(HttpRequest request, const std::filesystem::path& trusted = {}) {
  CurlClient client(trusted);
  auto future = sent(client, std::move(request));
  if (future.wait_for(60s) != std::future_status::ready)
    return {.error = "no completion", .status = {}, .body = {}};
  return future.get();
}

std::size_t count(const std::string& text, const std::string& part) {
  std::size_t found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
  return found;
}

TEST(CurlClient, postsTheRequestAsItIs) {
  const ScriptedServer server({reply("200 OK", hello)});
  const HttpRequest request =
      *directRequest(server.url("/v1/responses"), "sk-secret", "m", std::string(2'000'000, 'p'));
  const HttpResult result = resultOf(request);
  EXPECT_EQ(answerText(result), "Hello");
  const std::string seen = server.requests().at(0);
  EXPECT_TRUE(seen.starts_with("POST /v1/responses HTTP/1.1\r\n"));
  EXPECT_TRUE(seen.ends_with("\r\n\r\n" + request.body));
  EXPECT_EQ(count(seen, "\r\nAuthorization: Bearer sk-secret\r\n"), 1U);
  EXPECT_EQ(count(seen, "\r\nContent-Type: application/json\r\n"), 1U);
  EXPECT_EQ(count(seen, "Expect"), 0U);
}

TEST(CurlClient, givesBackAnyStatusAndBody) {
  const std::string large = R"({"output_text":")" + std::string(50 << 20, 'x') + "\"}";
  struct Row {
    const char* name;
    tests::Reply reply;
    std::string text;
  };
  const Row rows[] = {
      {"refused key", reply("401 Unauthorized", R"({"error":"sk-secret"})"), "请求失败：HTTP 401"},
      {"no content",
       {.pieces = {"HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n"}},
       "服务未返回可读取结果。"},
      {"no length", {.pieces = {"HTTP/1.1 200 OK\r\n\r\n" + hello}}, "Hello"},
      {"in chunks",
       {.pieces = {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\n{\"out\r\n",
                   "12\r\nput_text\":\"Hello\"}\r\n0\r\n\r\n"}},
       "Hello"},
      {"50 MiB", reply("200 OK", large), std::string(50 << 20, 'x')},
      {"a redirect to nowhere", reply("302 Found", hello), "请求失败：HTTP 302"},
  };
  for (const Row& row : rows) {
    const ScriptedServer server({row.reply});
    EXPECT_TRUE(answerText(resultOf(requestTo(server.url("/responses")))) == row.text) << row.name;
  }
}

TEST(CurlClient, reportsWhatGoesWrongAndNeverTheKey) {
  const ScriptedServer cutOff({{.pieces = {"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{"}}});
  const ScriptedServer nonsense({{.pieces = {"220 mail ready\r\n"}}});
  const ScriptedServer toFile({reply("302 Found", "", "Location: file:///etc/passwd\r\n")});
  std::string closedPort;
  {
    const ScriptedServer gone({});
    closedPort = gone.url("/responses");
  }
  struct Row {
    const char* name;
    std::string url;
    std::string error;
  };
  const Row rows[] = {
      {"no provider", "/responses", "unsupported URL"},
      {"no scheme", "localhost/responses", "unsupported URL"},
      {"no host", "http:///responses", "unsupported URL"},
      {"another scheme", "ftp://localhost/responses", "unsupported URL"},
      {"a file", "file:///etc/passwd", "unsupported URL"},
      {"nobody listens", closedPort, "Failed to connect"},
      {"cut off", cutOff.url("/responses"), "99 bytes"},
      {"no HTTP", nonsense.url("/responses"), "HTTP/0.9"},
      {"a redirect to a file", toFile.url("/responses"), "rotocol"},
  };
  for (const Row& row : rows) {
    const HttpResult result = resultOf(requestTo(row.url));
    EXPECT_NE(result.error.value_or("none").find(row.error), std::string::npos)
        << row.name << ": " << result.error.value_or("none");
    EXPECT_EQ(count(result.error.value_or(""), "sk-secret"), 0U) << row.name;
  }
  HttpRequest split = requestTo(closedPort);
  split.headers[0].value = "Bearer sk-secret\r\nX-Other: 1";
  EXPECT_EQ(resultOf(split).error, "Authorization: line breaks and control characters can't be sent");
}

TEST(CurlClient, followsRedirectsWithoutGivingTheKeyToAnotherServer) {
  struct Row {
    const char* status;
    const char* method;
    bool hasBody;
  };
  for (const Row& row : {Row{"301 Moved Permanently", "GET", false}, Row{"302 Found", "GET", false},
                         Row{"303 See Other", "GET", false}, Row{"307 Temporary Redirect", "POST", true},
                         Row{"308 Permanent Redirect", "POST", true}}) {
    const ScriptedServer other({reply("200 OK", hello)});
    const ScriptedServer first({reply(row.status, "", "Location: /second\r\n"),
                                reply(row.status, "", "Location: " + other.url("/third") + "\r\n")});
    const HttpRequest request = requestTo(first.url("/responses"));
    EXPECT_EQ(answerText(resultOf(request)), "Hello") << row.status;
    const std::string second = first.requests().at(1);
    const std::string third = other.requests().at(0);
    EXPECT_TRUE(second.starts_with(std::string(row.method) + " /second ")) << row.status;
    EXPECT_EQ(count(second, "sk-secret"), 1U) << row.status;
    EXPECT_TRUE(third.starts_with(std::string(row.method) + " /third ")) << row.status;
    EXPECT_EQ(count(third, "sk-secret"), 0U) << row.status;
    EXPECT_EQ(third.ends_with(request.body), row.hasBody) << row.status;
  }
}

TEST(CurlClient, asksTheSampleProvider) {
  const tests::RunningProvider provider("sk-secret");
  const std::string url = provider.baseURL() + "/responses";
  EXPECT_EQ(answerText(resultOf(*directRequest(url, "sk-secret", "m", "说 \"so\"\n🚀"))), "说 \"so\"\n🚀");
  EXPECT_EQ(answerText(resultOf(*directRequest(url, "sk-other", "m", "p"))), "请求失败：HTTP 401");
}

TEST(CurlClient, talksOnlyToAServerItTrusts) {
  const tests::TemporaryFolder folder;
  const tests::RunningProvider provider("sk-secret", folder / "certificate.pem");
  const HttpRequest request = requestTo(provider.baseURL() + "/responses");
  EXPECT_EQ(answerText(resultOf(request, folder / "certificate.pem")), "p");
  EXPECT_EQ(answerText(resultOf(request)), "请求失败：SSL certificate problem: self-signed certificate");
}

TEST(CurlClient, goesThroughTheProxyOfTheEnvironment) {
  const ScriptedServer proxy({reply("200 OK", hello)});
  ASSERT_EQ(setenv("http_proxy", proxy.url("").c_str(), 1), 0);
  EXPECT_EQ(answerText(resultOf(requestTo("http://provider.invalid/responses"))), "Hello");
  unsetenv("http_proxy");
  EXPECT_TRUE(proxy.requests().at(0).starts_with("POST http://provider.invalid/responses HTTP/1.1\r\n"));
}

TEST(CurlClient, givesUpWhenNothingHappensForTooLong) {
  const ScriptedServer silent({{.pieces = {}, .gap = 0ms, .hangs = true}});
  const ScriptedServer stuck(
      {{.pieces = {"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{"}, .gap = 0ms, .hangs = true}});
  for (const ScriptedServer* server : {&silent, &stuck}) {
    HttpRequest request = requestTo(server->url("/responses"));
    request.timeout = 300ms;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(resultOf(request).error, "the request timed out");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
  }
}

TEST(CurlClient, waitsForAnAnswerThatKeepsComing) {
  const ScriptedServer slow({{.pieces = {"HTTP/1.1 200 OK\r\nContent-Length: 23\r\n\r\n", "{\"output",
                                         "_text\":", "\"Hel", "lo\"}"},
                              .gap = 400ms}});
  HttpRequest request = requestTo(slow.url("/responses"));
  request.timeout = 1500ms;
  EXPECT_EQ(answerText(resultOf(request)), "Hello");
}

TEST(CurlClient, letsRequestsRunSideBySideAndDropsThemWhenItGoes) {
  const ScriptedServer silent({{.pieces = {}, .gap = 0ms, .hangs = true}});
  const ScriptedServer prompt({reply("200 OK", hello)});
  std::future<HttpResult> dropped;
  {
    CurlClient client;
    dropped = sent(client, requestTo(silent.url("/responses")));
    EXPECT_EQ(answerText(sent(client, requestTo(prompt.url("/responses"))).get()), "Hello");
  }
  EXPECT_THROW(dropped.get(), std::future_error);  // its promise went uncalled with the client
}

}  // namespace
}  // namespace ferrin::providertest
