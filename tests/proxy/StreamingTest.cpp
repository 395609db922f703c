// Bytes as they come, and exchanges that end before their time.

#include <gtest/gtest.h>

#include <string>

#include "tests/proxy/Peers.h"
#include "tests/proxy/RelayProcess.h"

namespace ferrin::proxy::tests {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Streaming = RelayTest;

/// Sends all that is taken while nobody reads at the other end; how much that was.
std::size_t sendUntilStalled(Connection& from) {
  const std::string block(4'000'000, 'x');
  std::size_t sent = 0;
  for (std::size_t taken = 1; taken > 0 && sent < 40'000'000; sent += taken) taken = from.sendSome(block);
  return sent;
}

TEST_F(Streaming, slowsEitherSideToTheOthersSpeedAndKeepsLittle) {
  for (const bool down : {true, false}) {
    Connection slow(relay.port(), 4096);
    slow.send(relay.request("POST /v1/big", down ? "" : "Content-Length: 40000000\r\n"));
    Connection side = upstream.accept();
    side.readHead();
    if (down) {
      side.send("HTTP/1.1 200 OK\r\nContent-Length: 40000000\r\n\r\n");
      slow.readHead();
    }
    const std::size_t before = relay.residentBytes();
    const std::size_t sent = sendUntilStalled(down ? side : slow);
    EXPECT_LT(sent, 40'000'000U);  // what the systems' own buffers hold, and no more
    EXPECT_LT(relay.residentBytes(), before + 4'000'000);
    EXPECT_TRUE((down ? slow : side).read(sent) == std::string(sent, 'x'));
  }
}

TEST_F(Streaming, endsTheUpstreamsPartWithinASecondOfTheClientsLeaving) {
  struct Row {
    const char* name;
    std::string request;
    std::string answer;
  };
  const Row rows[] = {
      {"before the answer's head", relay.request("POST /v1/a", "", "{}"), ""},
      {"in the answer's head", relay.request("POST /v1/a", "", "{}"), "HTTP/1.1 200 O"},
      {"before the first byte", relay.request("POST /v1/a", "", "{}"), streamHead},
      {"in mid-stream", relay.request("POST /v1/a", "", "{}"), streamHead + "5\r\nhel"},
      {"in mid-upload", relay.request("POST /v1/a", "Content-Length: 9\r\n") + "part", ""},
      {"with the next request sent", relay.request("GET /v1/a") + relay.request("GET /v1/b"), ""},
  };
  for (const Row& row : rows) {
    for (const bool byReset : {false, true}) {
      auto [leaving, side] = joined(relay, upstream, row.request);
      side.send(row.answer);
      if (row.answer.ends_with("\r\n\r\n")) leaving.readHead();
      byReset ? leaving.reset() : leaving.close();
      EXPECT_LT(side.timeUntilClosed(), seconds(1)) << row.name << (byReset ? ", reset" : ", closed");
    }
  }
  EXPECT_TRUE(relay.logs("end=client-gone"));
}

TEST(Connecting, endsWithinASecondOfTheClientsLeaving) {
  const DeafUpstream deaf;
  Upstream mute;
  const std::string urls[] = {"http://127.0.0.1:" + std::to_string(deaf.port()),
                              "https://127.0.0.1:" + std::to_string(mute.port())};
  for (const std::string& url : urls) {
    const RelayProcess relay(url);
    Connection leaving(relay.port());
    leaving.send(relay.request("POST /v1/a", "Content-Length: 9\r\n") + "part");
    EXPECT_TRUE(leaving.silentFor(milliseconds(200)));
    const auto left = std::chrono::steady_clock::now();
    leaving.close();
    EXPECT_TRUE(relay.logs("end=client-gone")) << url;
    EXPECT_LT(std::chrono::steady_clock::now() - left, seconds(1)) << url;
  }
  EXPECT_LT(mute.accept().timeUntilClosed(), seconds(1));
}

/// The end of a connection that is closed waits behind what was sent before, which nobody reads here.
TEST_F(Streaming, endsAStalledUploadWhenTheClientLeaves) {
  for (const std::string how : {"closed", "reset"}) {
    auto [leaving, side] =
        joined(relay, upstream, relay.request("POST /v1/" + how, "Content-Length: 100000000\r\n"));
    while (leaving.sendSome(std::string(1'000'000, 'x')) > 0) {}
    const auto left = std::chrono::steady_clock::now();
    how == "reset" ? leaving.reset() : leaving.close();
    EXPECT_TRUE(relay.logs("POST /v1/" + how + " 0 "));
    EXPECT_LT(std::chrono::steady_clock::now() - left, seconds(1)) << how;
    side.reset();
  }
}

TEST_F(Streaming, neverShowsABrokenAnswerAsAWholeOne) {
  for (const std::string& answer : {streamHead + "xyz\r\n", std::string("HTTP/1.1 200 OK\r\n\r\npartial")}) {
    auto [reader, side] = joined(relay, upstream);
    side.send(answer);
    reader.readHead();
    side.reset();
    EXPECT_TRUE(reader.readAll().ends_with("<reset>")) << answer;
  }
}

TEST_F(Streaming, mapsFailuresBeforeAnAnswer) {
  struct Row {
    const char* name;
    std::string answer;
    const char* code;
  };
  const Row rows[] = {
      {"closed in the head", "HTTP/1.1 200 OK\r\nX:", "upstream_closed"},
      {"not HTTP", "SSH-2.0-OpenSSH_9.2\r\n\r\n", "upstream_invalid"},
      {"bare line feeds", "HTTP/1.1 200 OK\n\nhi", "upstream_invalid"},
      {"both framings", "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
       "upstream_invalid"},
      {"an endless head", "HTTP/1.1 200 OK\r\nX: " + std::string(200'000, 'x'), "upstream_invalid"},
      {"an unasked switch", "HTTP/1.1 101 Switching Protocols\r\n\r\n", "upstream_invalid"},
  };
  Connection client(relay.port());
  for (const Row& row : rows) {
    client.send(relay.request("POST /v1/a", "", "{}"));
    Connection side = upstream.accept();
    side.readAnswer();
    side.sendSome(row.answer);
    side.close();
    const std::string answer = client.readAnswer();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 502 Bad Gateway\r\n")) << row.name;
    EXPECT_NE(answer.find(std::string("\"code\":\"") + row.code), std::string::npos) << row.name << answer;
  }
}

TEST(Silence, endsAnExchangeOnlyWhenNothingMovesForTooLong) {
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.timeout = "1";
  const RelayProcess relay(upstream.url(), settings);

  Connection waiting(relay.port());
  waiting.send(relay.request("GET /v1/a"));
  Connection silentSide = upstream.accept();
  const std::string answer = waiting.readAnswer();
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 504 Gateway Timeout\r\n"));
  EXPECT_NE(answer.find("\"code\":\"upstream_timeout\""), std::string::npos);

  auto [streaming, side] = joined(relay, upstream, relay.request("POST /v1/a", "Content-Length: 2\r\n"));
  for (int beat = 0; beat < 2; ++beat) {
    EXPECT_TRUE(streaming.silentFor(milliseconds(600)));
    streaming.send("x");
    EXPECT_EQ(side.read(1), "x");
  }
  side.send(streamHead);
  streaming.readHead();
  for (int beat = 0; beat < 4; ++beat) {
    EXPECT_TRUE(streaming.silentFor(milliseconds(600)));
    side.send("1\r\nx\r\n");
    EXPECT_EQ(streaming.read(6), "1\r\nx\r\n");
  }
  const auto time = streaming.timeUntilClosed();
  EXPECT_GT(time, milliseconds(800));
  EXPECT_LT(time, milliseconds(2500));
  EXPECT_TRUE(relay.logs("end=truncated cause=\"no byte for too long; try again\""));
}

}  // namespace
}  // namespace ferrin::proxy::tests
