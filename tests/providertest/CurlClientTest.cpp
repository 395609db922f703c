#include "providertest/CurlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio.hpp>
#include <boost/beast.hpp>
#include <future>

#include "providertest/AnswerText.h"
#include "providertest/DirectRequest.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::providertest {
namespace {

using namespace std::chrono_literals;
namespace http = boost::beast::http;
using boost::asio::ip::tcp;
using testing::HasSubstr;

const std::string hello = "HTTP/1.1 200 OK\r\nContent-Length: 23\r\n\r\n{\"output_text\":\"Hello\"}";
const std::string length100 = "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n{";
const std::string found = "HTTP/1.1 307 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: ";

/// A server that the test plays by hand.
struct Server {
  boost::asio::io_context io;
  tcp::acceptor acceptor{io, {boost::asio::ip::address_v4::loopback(), 0}};
  const std::string url =
      "http://127.0.0.1:" + std::to_string(acceptor.local_endpoint().port()) + "/responses";

  /// With the request that has come in on it.
  std::pair<tcp::socket, http::request<http::string_body>> accept() {
    tcp::socket socket = acceptor.accept();
    boost::beast::flat_buffer buffer;
    http::request<http::string_body> request;
    read(socket, buffer, request);
    return {std::move(socket), std::move(request)};
  }
};

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
  Server first, other;
  const HttpRequest request = requestTo(first.url, std::string(500'000, 'p'));
  auto answer = sent(client, request);
  for (const auto& [server, reply] : {std::pair(&first, found + "/second\r\n\r\n"),
                                      {&first, found + other.url + "\r\n\r\n"},
                                      {&other, hello}}) {
    auto [socket, seen] = server->accept();
    EXPECT_TRUE(seen.method() == http::verb::post && seen.body() == request.body);
    EXPECT_EQ(seen["Content-Type"], "application/json");
    EXPECT_EQ(seen["Authorization"], server == &first ? "Bearer sk-secret" : "");
    write(socket, boost::asio::buffer(reply));
  }
  EXPECT_EQ(answer.get(), "Hello");
}

TEST(CurlClient, reportsWhatGoesWrongAndNeverTheKey) {
  CurlClient client;
  Server server;
  std::vector<std::string> answers;
  for (const auto& reply :
       {length100, std::string("220 mail ready\r\n"), found + "file:///etc/passwd\r\n\r\n"}) {
    auto answer = sent(client, requestTo(server.url));
    auto socket = server.accept().first;
    write(socket, boost::asio::buffer(reply));
    socket.close();
    answers.push_back(answer.get());
  }
  for (const std::string url : {"localhost/responses", "http:///responses", "file:///etc/passwd"}) {
    answers.push_back(sent(client, requestTo(url)).get());
  }
  HttpRequest split = requestTo(server.url);
  split.headers[0].value += "\r\nX-Other: 1";
  answers.push_back(sent(client, split).get());
  const std::string refused = "请求失败：unsupported URL",
                    noBreaks = "line breaks and control characters can't be sent";
  EXPECT_THAT(answers,
              testing::ElementsAre(HasSubstr("99 bytes"), HasSubstr("HTTP/0.9"), HasSubstr("rotocol"),
                                   refused, refused, refused, "请求失败：Authorization: " + noBreaks));
  EXPECT_THAT(answers, testing::Each(testing::Not(HasSubstr("sk-secret"))));
}

TEST(CurlClient, talksOnlyToAServerItTrusts) {
  const tests::TemporaryFolder folder;
  const tests::RunningProvider provider("sk-secret", folder / "certificate.pem");
  const HttpRequest request = requestTo(provider.baseURL() + "/responses", "说 \"so\"\n🚀");
  CurlClient trusting(folder / "certificate.pem"), ordinary;
  EXPECT_EQ(sent(trusting, request).get(), "说 \"so\"\n🚀");
  EXPECT_EQ(sent(ordinary, request).get(), "请求失败：SSL certificate problem: self-signed certificate");
}

TEST(CurlClient, givesUpOnSilenceWaitsForWhatKeepsComingAndDropsTheRestWhenItGoes) {
  Server server;
  std::optional<CurlClient> client(std::in_place);
  HttpRequest request = requestTo(server.url);
  auto dropped = sent(*client, request);
  const auto silent = server.accept();
  request.timeout = 700ms;
  auto unanswered = sent(*client, request);
  const auto alsoSilent = server.accept();
  auto answered = sent(*client, request);
  auto slow = server.accept().first;
  write(slow, boost::asio::buffer(hello, 39));
  for (const std::size_t start : {39, 47, 55}) {
    EXPECT_EQ(answered.wait_for(300ms), std::future_status::timeout);
    write(slow, boost::asio::buffer(hello.substr(start, 8)));
  }
  EXPECT_EQ(answered.get(), "Hello");
  EXPECT_EQ(unanswered.get(), "请求失败：the request timed out");
  client.reset();
  EXPECT_THROW(dropped.get(), std::future_error) << "its promise goes uncalled with the client";
}

}  // namespace
}  // namespace ferrin::providertest
