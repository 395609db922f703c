// Requests and answers through the relay, byte by byte.

#include <gtest/gtest.h>

#include <string>

#include "tests/proxy/Peers.h"
#include "tests/proxy/RelayProcess.h"

namespace ferrin::proxy::tests {
namespace {

using std::string_literals::operator""s;

/// A relay with its upstream and one client.
class Forwarding : public testing::Test {
 protected:
  Upstream upstream;
  RelayProcess relay{upstream.url("/base/v1")};
  Connection client{relay.port()};
};

/// A relay alone.
class LocalAnswer : public testing::Test {
 protected:
  Upstream upstream;
  RelayProcess relay{upstream.url()};
};

TEST_F(Forwarding, rewritesTheHeadAndReusesBothConnections) {
  client.send(
      relay.request("POST /v1/responses?beta=true", "Authorization: Bearer mine\r\nAccept: a\r\n", "{}"));
  Connection side = upstream.accept();
  const std::string host = upstream.url().substr(7);
  EXPECT_EQ(side.readAnswer(),
            "POST /base/v1/responses?beta=true HTTP/1.1\r\nHost: " + host +
                "\r\nAccept: a\r\nContent-Length: 2\r\nAuthorization: Bearer sk-test-key\r\n\r\n{}");
  side.send("HTTP/1.1 200 Fine\r\nSet-Cookie: a=b\r\nx-request-id: 7\r\nContent-Length: 5\r\n\r\nhello");
  EXPECT_EQ(client.readAnswer(), "HTTP/1.1 200 Fine\r\nx-request-id: 7\r\nContent-Length: 5\r\n\r\nhello");
  client.send(relay.request("GET /v1/models"));
  EXPECT_TRUE(side.readHead().starts_with("GET /base/v1/models HTTP/1.1\r\n"));
  side.send(ok);
  EXPECT_EQ(client.readAnswer(), ok);
  EXPECT_TRUE(relay.logs("POST /v1/responses 200 in=2 out=5 first="));
  EXPECT_TRUE(relay.logs("upstream=reused end=complete"));
  EXPECT_EQ(relay.log().find("beta"), std::string::npos);
}

TEST_F(Forwarding, passesEveryMethodAndAnswersWithoutBody) {
  client.send(relay.request("HEAD /v1/a") + relay.request("BREW /v1/b") + relay.request("DELETE /v1/c"));
  Connection side = upstream.accept();
  EXPECT_TRUE(side.readHead().starts_with("HEAD /base/v1/a "));
  side.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
  EXPECT_EQ(client.readHead(), "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
  EXPECT_TRUE(side.readHead().starts_with("BREW /base/v1/b "));
  side.send("HTTP/1.1 304 Not Modified\r\nContent-Length: 9\r\n\r\n");
  EXPECT_EQ(client.readHead(), "HTTP/1.1 304 Not Modified\r\nContent-Length: 9\r\n\r\n");
  EXPECT_TRUE(side.readHead().starts_with("DELETE /base/v1/c "));
  side.send("HTTP/1.1 204 No Content\r\n\r\n");
  EXPECT_EQ(client.readHead(), "HTTP/1.1 204 No Content\r\n\r\n");
}

TEST_F(Forwarding, streamsABodyOfAnySizeBothWaysUnchanged) {
  std::string content;
  for (int line = 0; content.size() < 3'000'000; ++line)
    content += std::to_string(line) + " bytes\0\r\n\xFF"s;
  const std::string length = "Content-Length: " + std::to_string(content.size()) + "\r\n";
  client.send(relay.request("POST /v1/up", length));
  Connection side = upstream.accept();
  side.readHead();
  const auto pass = [&](Connection& from, Connection& to) {
    for (std::size_t at = 0; at < content.size(); at += 50'000) {
      const std::string block = content.substr(at, 50'000);
      from.send(block);
      ASSERT_TRUE(to.read(block.size()) == block) << "at " << at;
    }
  };
  pass(client, side);
  side.send("HTTP/1.1 200 OK\r\n" + length + "\r\n");
  client.readHead();
  pass(side, client);
}

TEST_F(Forwarding, passesChunksThroughWhereverTheyAreCut) {
  const std::string body = "5;ext=1\r\nhe\xC3\xA9l\r\n1\r\n\n\r\n0\r\nX-Sum: 1\r\n\r\n";
  client.send(relay.request("POST /v1/up", "Transfer-Encoding: chunked\r\n"));
  Connection side = upstream.accept();
  side.readHead();
  for (const char byte : body) {
    client.send({&byte, 1});
    ASSERT_EQ(side.read(1), std::string(1, byte));
  }
  side.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
  client.readHead();
  for (const char byte : body) {
    side.send({&byte, 1});
    ASSERT_EQ(client.read(1), std::string(1, byte));
  }
  client.send(relay.request("GET /v1/next"));
  EXPECT_TRUE(side.readHead().starts_with("GET /base/v1/next "));
  side.send(ok);
  EXPECT_EQ(client.readAnswer(), ok);
}

TEST_F(Forwarding, answersExpectationsAtOnceAndPassesInformationalAnswers) {
  client.send(relay.request("POST /v1/up", "Expect: 100-continue\r\nContent-Length: 2\r\n"));
  EXPECT_EQ(client.readHead(), "HTTP/1.1 100 Continue\r\n\r\n");
  client.send("hi");
  Connection side = upstream.accept();
  EXPECT_TRUE(side.readAnswer().ends_with("\r\n\r\nhi"));
  side.send("HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n");
  EXPECT_EQ(client.readHead(), "HTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n");
  side.send("HTTP/1.1 102 Processing\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  EXPECT_EQ(client.readHead(), "HTTP/1.1 102 Processing\r\n\r\n");
  EXPECT_EQ(client.readAnswer(), ok);
}

TEST_F(Forwarding, givesAnAnswerThatEndsWithItsConnectionAnEndOfItsOwn) {
  client.send(relay.request("GET /v1/a"));
  {
    Connection side = upstream.accept();
    side.readHead();
    side.send("HTTP/1.1 200 OK\r\nX: y\r\n\r\nhello");
    EXPECT_EQ(client.readHead(), "HTTP/1.1 200 OK\r\nX: y\r\nTransfer-Encoding: chunked\r\n\r\n");
    EXPECT_EQ(client.read(10), "5\r\nhello\r\n");
  }
  EXPECT_EQ(client.read(5), "0\r\n\r\n");
  client.send(relay.request("GET /v1/b"));
  upstream.accept().readHead();
}

TEST_F(Forwarding, speaksToOldClientsWithoutChunks) {
  client.send("GET /v1/a HTTP/1.0\r\nHost: localhost:" + std::to_string(relay.port()) + "\r\n\r\n");
  Connection side = upstream.accept();
  EXPECT_TRUE(side.readHead().starts_with("GET /base/v1/a HTTP/1.1\r\n"));
  side.send("HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nab");
  EXPECT_EQ(client.readHead(), "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
  EXPECT_EQ(client.read(2), "ab");
  side.send("c\r\n1\r\nd\r\n0\r\n\r\n");
  EXPECT_EQ(client.readAll(), "cd");
}

TEST_F(Forwarding, closesWhenTheClientAsksForIt) {
  client.send(relay.request("GET /v1/a", "Connection: close\r\n"));
  Connection side = upstream.accept();
  EXPECT_EQ(side.readHead().find("Connection"), std::string::npos);
  side.send(ok);
  EXPECT_EQ(client.readAll(), "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok");
}

TEST_F(Forwarding, deliversAnAnswerThatComesBeforeTheBodyIsIn) {
  client.send(relay.request("POST /v1/up", "Content-Length: 10000000\r\n") + std::string(100'000, 'x'));
  Connection side = upstream.accept();
  side.readHead();
  side.send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\nConnection: close\r\n\r\nbig");
  EXPECT_EQ(client.readAnswer(), "HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\n\r\nbig");
  client.sendSome(std::string(100'000, 'x'));
  EXPECT_EQ(client.readAll(), "");  // an orderly end, behind which nothing of the answer was lost
}

TEST_F(Forwarding, joinsWebSocketsByteForByteUntilEitherSideEnds) {
  const std::string upgrade = "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Key: a\r\n";
  client.send(relay.request("GET /v1/ws", upgrade) + "early");
  Connection side = upstream.accept();
  EXPECT_NE(side.readHead().find("\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n"), std::string::npos);
  side.send(
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: "
      "Upgrade\r\nSec-WebSocket-Accept: b\r\n"
      "\r\n\x81\x02hi");
  EXPECT_EQ(client.readHead(),
            "HTTP/1.1 101 Switching Protocols\r\nSec-WebSocket-Accept: b\r\nConnection: Upgrade\r\n"
            "Upgrade: websocket\r\n\r\n");
  EXPECT_EQ(client.read(4), "\x81\x02hi");
  EXPECT_EQ(side.read(5), "early");
  client.send("0\r\n\r\n\xFF");
  EXPECT_EQ(side.read(6), "0\r\n\r\n\xFF");
  side.close();
  EXPECT_LT(client.timeUntilClosed(), std::chrono::seconds(1));

  auto [other, otherSide] = joined(relay, upstream, relay.request("GET /v1/ws", upgrade));
  otherSide.send("HTTP/1.1 101 Switching Protocols\r\n\r\n");
  other.readHead();
  other.close();
  EXPECT_LT(otherSide.timeUntilClosed(), std::chrono::seconds(1));
  EXPECT_TRUE(relay.logs("GET /v1/ws 101 in=11 out=4 "));
}

TEST_F(Forwarding, breaksAWebSocketOffWhereTheOtherSideBrokeOff) {
  for (const bool upstreamBreaks : {true, false}) {
    auto [one, side] =
        joined(relay, upstream, relay.request("GET /v1/ws", "Connection: Upgrade\r\nUpgrade: websocket\r\n"));
    side.send("HTTP/1.1 101 Switching Protocols\r\n\r\n");
    one.readHead();
    (upstreamBreaks ? side : one).reset();
    if (upstreamBreaks) {
      EXPECT_EQ(one.readAll(), "<reset>");
    }
    EXPECT_TRUE(relay.logs(upstreamBreaks ? "end=truncated" : "end=client-gone")) << relay.log();
  }
}

TEST_F(Forwarding, tellsWebSocketClientsToUseHTTPWhereThereIsNoWebSocket) {
  const std::string upgrade = "Connection: Upgrade\r\nUpgrade: websocket\r\n";
  for (const std::string status : {"401 Unauthorized", "403 Forbidden", "429 Too Many Requests"}) {
    auto [asking, side] = joined(relay, upstream, relay.request("GET /v1/ws", upgrade));
    side.send("HTTP/1.1 " + status + "\r\nContent-Length: 2\r\n\r\nno");
    EXPECT_EQ(asking.readAnswer(), "HTTP/1.1 " + status + "\r\nContent-Length: 2\r\n\r\nno");
  }
  for (const std::string status : {"200 OK", "404 Not Found", "302 Found", "500 Oops"}) {
    auto [asking, side] = joined(relay, upstream, relay.request("GET /v1/ws", upgrade));
    side.send("HTTP/1.1 " + status + "\r\nContent-Length: 100000\r\n\r\n");  // whose body is not waited for
    const std::string answer = asking.readAnswer();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 426 Upgrade Required\r\n")) << answer;
    EXPECT_NE(answer.find("\"code\":\"upgrade_required\""), std::string::npos);
  }
}

TEST_F(Forwarding, returnsRedirectsAndErrorsAsTheyAre) {
  client.send(relay.request("POST /v1/a"));
  Connection side = upstream.accept();
  side.readHead();
  const std::string redirect =
      "HTTP/1.1 307 Moved\r\nLocation: http://evil.example/\r\nContent-Length: 0\r\n\r\n";
  side.send(redirect);
  EXPECT_EQ(client.readHead(), redirect);
  client.send(relay.request("POST /v1/a"));
  side.readHead();
  const std::string error = "HTTP/1.1 500 Oops\r\nx-should-retry: true\r\nContent-Length: 2\r\n\r\n{}";
  side.send(error);
  EXPECT_EQ(client.readAnswer(), error);
  EXPECT_TRUE(upstream.silentFor(std::chrono::milliseconds(100)));
}

TEST_F(LocalAnswer, reportsHealthWithoutAskingTheUpstream) {
  Connection client(relay.port());
  client.send(relay.request("GET /healthz"));
  const std::string answer = client.readAnswer();
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 200 OK\r\n"));
  EXPECT_NE(answer.find(R"({"status":"ok","version":")"), std::string::npos);
  EXPECT_NE(answer.find(R"("upstream":"127.0.0.1","connections":1,"requests_in_flight":0})"),
            std::string::npos);
  EXPECT_EQ(answer.find(RelayProcess::key), std::string::npos);
  EXPECT_TRUE(upstream.silentFor(std::chrono::milliseconds(50)));
}

TEST_F(LocalAnswer, refusesMalformedRequestsAndClosesWithoutTellingTheUpstream) {
  const std::string host = "Host: 127.0.0.1:" + std::to_string(relay.port()) + "\r\n";
  struct Row {
    std::string bytes;
    const char* status;
    const char* code;
  };
  const Row rows[] = {
      {"hello\r\n\r\n", "400", "bad_request"},
      {"GET /v1 HTTP/1.1\nHost: x\n\n", "400", "bad_request"},
      {"\x16\x03\x01\x02\n", "400", "bad_request"},
      {"GET /v1 HTTP/1.1\r\n" + host + "X: " + std::string(66'000, 'x') + "\r\n\r\n", "431",
       "headers_too_large"},
      {"GET /v1 HTTP/1.1\r\n" + host + "X: " + std::string(200'000, 'x'), "431", "headers_too_large"},
  };
  for (const Row& row : rows) {
    Connection client(relay.port());
    client.sendSome(row.bytes);
    const std::string answer = client.readAll();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 "s + row.status)) << answer;
    EXPECT_NE(answer.find("\r\nX-Ferrin-Relay: error\r\n"), std::string::npos);
    EXPECT_NE(answer.find(R"("type":"relay_error","param":null,"code":")"s + row.code + "\"}}"),
              std::string::npos);
  }
  EXPECT_TRUE(upstream.silentFor(std::chrono::milliseconds(50)));
}

TEST_F(LocalAnswer, ignoresEmptyLinesBeforeARequestAndAnswersOthersIn404) {
  Connection client(relay.port());
  client.send("\r\n\r\n" + relay.request("GET /v2/models") + "\r\n" + relay.request("GET /"));
  for (int count = 0; count < 2; ++count) {
    const std::string answer = client.readAnswer();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 404 Not Found\r\n")) << answer;
    EXPECT_NE(answer.find("\"code\":\"not_found\""), std::string::npos);
  }
}

TEST_F(LocalAnswer, breaksOffAMalformedChunkedUploadOnBothSides) {
  Connection client(relay.port());
  client.send(relay.request("POST /v1/up", "Transfer-Encoding: chunked\r\n") + "3\r\nabc\r\n");
  Connection side = upstream.accept();
  EXPECT_TRUE(side.readUntil("abc\r\n").ends_with("3\r\nabc\r\n"));
  client.send("nonsense\r\n");
  EXPECT_NE(client.readAll().find("\"code\":\"bad_request\""), std::string::npos);
  EXPECT_LT(side.timeUntilClosed(), std::chrono::seconds(1));
}

}  // namespace
}  // namespace ferrin::proxy::tests
