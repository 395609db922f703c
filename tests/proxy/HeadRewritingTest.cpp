#include "proxy/HeadRewriting.h"

#include <gtest/gtest.h>

#include <chrono>

namespace ferrin::proxy {
namespace {

std::string upstreamHead(const std::string& requestLine, const std::string& lines) {
  const std::string text = requestLine + "\r\nHost: 127.0.0.1:8787\r\n" + lines + "\r\n";
  RequestHead head;
  EXPECT_EQ(parseRequestHead(text, head), text.size()) << lines;
  std::string out;
  appendUpstreamHead(out, head, parseUpstreamURL("https://api.example/v1"), "/v1/responses", "sk-1");
  return out;
}

TEST(UpstreamHead, isTheClientsButForWhatMustStop) {
  EXPECT_EQ(
      upstreamHead(
          "POST /v1/responses HTTP/1.1",
          "accept: */*\r\nAuthorization: Bearer mine\r\nCookie: c\r\nX-Api-Key: k\r\napi-key: k\r\n"
          "Proxy-Authorization: p\r\nChatGPT-Account-Id: a\r\nOpenAI-Organization: o\r\n"
          "openai-project: p\r\nAccept-Encoding: gzip, br\r\nX-Stainless-Lang: js\r\nContent-Length: 5\r\n"
          "Accept: text/event-stream\r\n"),
      "POST /v1/responses HTTP/1.1\r\nHost: api.example\r\naccept: */*\r\nAccept-Encoding: gzip, br\r\n"
      "X-Stainless-Lang: js\r\nContent-Length: 5\r\nAccept: text/event-stream\r\nAuthorization: Bearer "
      "sk-1\r\n\r\n");
}

TEST(UpstreamHead, dropsHopByHopFieldsAndThoseThatConnectionNames) {
  const std::string plain =
      "GET /v1/responses HTTP/1.1\r\nHost: api.example\r\nAuthorization: Bearer sk-1\r\n\r\n";
  EXPECT_EQ(upstreamHead(
                "GET /v1/responses HTTP/1.1",
                "Connection: keep-alive, X-Hop\r\nConnection: X-Other\r\nX-Hop: 1\r\nx-other: 2\r\n"
                "Keep-Alive: timeout=5\r\nTE: trailers\r\nProxy-Connection: keep-alive\r\nUpgrade: h2c\r\n"),
            plain);
}

TEST(UpstreamHead, saysOnceHowLongTheBodyIs) {
  const std::string chunked =
      upstreamHead("POST /v1/r HTTP/1.1", "Transfer-Encoding: chunked\r\nTrailer: X\r\n");
  EXPECT_NE(chunked.find("\r\nTrailer: X\r\n"), std::string::npos);
  EXPECT_NE(chunked.find("\r\nTransfer-Encoding: chunked\r\n"), std::string::npos);
  EXPECT_EQ(chunked.find("Content-Length"), std::string::npos);
  // A length stays even where Connection names it: without it the body would be read as the next request.
  const std::string twice = upstreamHead(
      "POST /v1/r HTTP/1.1", "Content-Length: 007\r\nContent-Length: 7\r\nConnection: Content-Length\r\n");
  EXPECT_EQ(twice.find("Content-Length: 7\r\n"), twice.rfind("Content-Length"));
}

TEST(UpstreamHead, keepsWebSocketsAndAnswersExpectationsHere) {
  const std::string socket =
      upstreamHead("GET /v1/r HTTP/1.1",
                   "Connection: keep-alive, Upgrade\r\nUpgrade: WebSocket\r\nSec-WebSocket-Key: k\r\n");
  EXPECT_NE(socket.find("\r\nSec-WebSocket-Key: k\r\n"), std::string::npos);
  EXPECT_NE(socket.find("\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"), std::string::npos);
  for (const char* version : {"HTTP/1.1", "HTTP/1.0"}) {
    const std::string line = std::string("POST /v1/r ") + version;
    EXPECT_EQ(upstreamHead(line, "Expect: 100-Continue\r\nContent-Length: 1\r\n").find("Expect"),
              std::string::npos);
    EXPECT_EQ(upstreamHead(line, "Connection: Upgrade\r\nUpgrade: websocket\r\n").find("Upgrade"),
              std::string::npos);
  }
}

TEST(UpstreamHead, takesNoTimeHoweverManyFieldsConnectionNames) {
  std::string names = "Connection: a";
  while (names.size() < 32'000) names += ",a";
  names += ",b\r\n";
  while (names.size() < 64'000) names += "b:\r\n";
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(upstreamHead("GET /v1/r HTTP/1.1", names).find("b:"), std::string::npos);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(ClientHead, keepsEverythingOfTheProvidersButCookiesAndConnection) {
  AnswerHead head;
  ASSERT_NE(
      parseAnswerHead("HTTP/1.1 429 Slow down\r\nRetry-After: 2\r\nx-ratelimit-remaining-tokens: 0\r\n"
                      "Set-Cookie: a=b\r\nConnection: close, X-Hop\r\nX-Hop: 1\r\nContent-Encoding: br\r\n"
                      "Keep-Alive: timeout=5\r\nx-request-id: r\r\nContent-Length: 9\r\n\r\n",
                      head),
      malformedHead);
  const std::string fields =
      "HTTP/1.1 429 Slow down\r\nRetry-After: 2\r\nx-ratelimit-remaining-tokens: 0\r\nContent-Encoding: "
      "br\r\n"
      "x-request-id: r\r\nContent-Length: 9\r\n";
  std::string out;
  appendClientHead(out, head, BodyForm::asReceived, false);
  EXPECT_EQ(out, fields + "\r\n");
  out.clear();
  appendClientHead(out, head, BodyForm::asReceived, true);
  EXPECT_EQ(out, fields + "Connection: close\r\n\r\n");
}

TEST(BodyFormOf, suitsTheClientsVersion) {
  using Kind = BodyFraming::Kind;
  EXPECT_EQ(bodyForm(Kind::untilClose, 11), BodyForm::chunked);
  EXPECT_EQ(bodyForm(Kind::untilClose, 10), BodyForm::asReceived);
  EXPECT_EQ(bodyForm(Kind::chunked, 10), BodyForm::bare);
  EXPECT_EQ(bodyForm(Kind::chunked, 11), BodyForm::asReceived);
  EXPECT_EQ(bodyForm(Kind::length, 10), BodyForm::asReceived);
}

}  // namespace
}  // namespace ferrin::proxy
