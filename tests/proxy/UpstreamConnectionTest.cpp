// How the relay comes by its connections to the upstream, and when it lets go of them.

#include <gtest/gtest.h>
#include <signal.h>

#include <array>
#include <string>
#include <thread>

#include "tests/proxy/Peers.h"
#include "tests/proxy/RelayProcess.h"
#include "tests/proxy/TlsPeer.h"

namespace ferrin::proxy::tests {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using UpstreamConnection = RelayTest;

/// One request on a new connection of a client, answered by `side`.
void exchangeOn(const RelayProcess& relay, Connection& side) {
  Connection client(relay.port());
  client.send(relay.request("GET /v1/a"));
  side.readHead();
  side.send(ok);
  EXPECT_EQ(client.readAnswer(), ok);
}

TEST_F(UpstreamConnection, servesTheRequestsOfSeveralClients) {
  auto [first, side] = joined(relay, upstream);
  side.send(ok);
  first.readAnswer();
  exchangeOn(relay, side);
  exchangeOn(relay, side);
  EXPECT_TRUE(upstream.silentFor(milliseconds(50)));
}

TEST_F(UpstreamConnection, isReplacedWhenItWasClosedInItsSleep) {
  Connection client(relay.port());
  for (const std::string ending : {"", "unasked", "HTTP/1.1 408 Request Timeout\r\n\r\n"}) {
    client.send(relay.request("POST /v1/a", "", "{}"));
    Connection side = upstream.accept();
    side.readAnswer();
    side.send(ok);
    EXPECT_EQ(client.readAnswer(), ok);
    side.send(ending);
    side.close();
  }
  client.send(relay.request("POST /v1/a", "", "{}"));
  EXPECT_TRUE(upstream.accept().readAnswer().ends_with("{}"));
}

TEST_F(UpstreamConnection, isNotKeptWhenItsStateIsUnclear) {
  Connection client(relay.port());
  for (const std::string answer : {"HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok",
                                   "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok",
                                   "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokHTTP/1.1 200 OK\r\n\r\n"}) {
    client.send(relay.request("GET /v1/a"));
    Connection side = upstream.accept();
    side.readHead();
    side.send(answer);
    EXPECT_EQ(client.readAnswer(), ok);
    EXPECT_LT(side.timeUntilClosed(), seconds(1));
  }
}

TEST_F(UpstreamConnection, neverCarriesARequestTwice) {
  auto [client, side] = joined(relay, upstream);
  side.send(ok);
  client.readAnswer();
  client.send(relay.request("POST /v1/spend", "", "{}"));
  side.readAnswer();
  side.close();
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 502 "));
  EXPECT_TRUE(upstream.silentFor(milliseconds(200)));
}

TEST_F(UpstreamConnection, isOpenedWhileTheBodyStillArrives) {
  Connection client(relay.port());
  client.send(relay.request("POST /v1/a", "Content-Length: 2\r\n"));
  Connection side = upstream.accept();
  EXPECT_TRUE(side.readHead().starts_with("POST /a "));
  client.send("hi");
  EXPECT_EQ(side.read(2), "hi");
}

TEST(UnreachableUpstream, gives502AndSaysWhyInTheLog) {
  const std::string port = std::to_string(unusedPort());
  struct Row {
    std::string url;
    const char* cause;
  };
  const Row rows[] = {
      {"http://127.0.0.1:" + port,
       "cause=\"connect: 127.0.0.1: Connection refused; check the provider's address and the network\""},
      {"http://no-such-host.invalid", "cause=\"connect: no-such-host.invalid: "},
  };
  for (const Row& row : rows) {
    const RelayProcess relay(row.url);
    Connection client(relay.port());
    client.send(relay.request("GET /v1/a") + relay.request("GET /v1/b"));
    for (int count = 0; count < 2; ++count) {
      const std::string answer = client.readAnswer();
      EXPECT_TRUE(answer.starts_with("HTTP/1.1 502 Bad Gateway\r\n")) << answer;
      EXPECT_NE(answer.find("\"code\":\"upstream_unreachable\""), std::string::npos);
    }
    EXPECT_TRUE(relay.logs(row.cause)) << relay.log();
  }
}

TEST(UnreachableUpstream, thatHangsInItsNameIsLeftWithTheClientAndByTheProcess) {
  RelayProcess::Settings settings;
  settings.surround();
  RelayProcess relay("http://deaf.example", settings);
  Connection leaving(relay.port());
  leaving.send(relay.request("GET /v1/a"));
  Connection staying(relay.port());
  staying.send(relay.request("GET /v1/b") + relay.request("GET /healthz"));
  EXPECT_TRUE(leaving.silentFor(milliseconds(100)));
  leaving.close();
  EXPECT_TRUE(relay.logs("GET /v1/a 0 in=0 out=0 first=- total="));
  const auto start = std::chrono::steady_clock::now();
  relay.signal(SIGTERM);
  EXPECT_TRUE(staying.readAnswer().starts_with("HTTP/1.1 502 "));
  EXPECT_EQ(relay.wait(), 0);
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(4900));
}

/// An upstream behind TLS whose certificate is the relay's only root.
class UpstreamTls : public testing::Test {
 protected:
  static RelayProcess::Settings trusting(const TlsIdentity& root) {
    RelayProcess::Settings settings;
    settings.environment = {{"SSL_CERT_FILE", root.certificateFile().string()}};
    return settings;
  }

  const TlsIdentity identity{"localhost"};
  TlsUpstream upstream{identity};
  const RelayProcess relay{upstream.url(), trusting(identity)};
};

TEST_F(UpstreamTls, isVerifiedNamedAndResumed) {
  for (int count = 0; count < 2; ++count) {
    Connection client(relay.port());
    client.send(relay.request("POST /v1/a", "Connection: close\r\n", "{}"));
    const std::string seen =
        upstream.serveOne("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_TRUE(seen.starts_with("POST /a HTTP/1.1\r\nHost: localhost:")) << seen;
    EXPECT_TRUE(client.readAll().ends_with("\r\n\r\nok"));
    EXPECT_EQ(upstream.serverName(), "localhost");
    EXPECT_EQ(upstream.resumed(), count == 1);
  }
}

TEST_F(UpstreamTls, isRefusedWhenItCannotBeVerified) {
  const TlsIdentity stranger("localhost");
  const TlsIdentity misnamed("other.example");
  struct Row {
    const TlsIdentity& shown;
    const TlsIdentity& trusted;
    const char* cause;
    int version = TLS1_3_VERSION;
  };
  const Row rows[] = {{stranger, identity, "self-signed certificate"},
                      {misnamed, misnamed, "hostname mismatch"},
                      {identity, identity, "protocol version", TLS1_1_VERSION}};
  for (const Row& row : rows) {
    TlsUpstream other(row.shown);
    other.speakAtMost(row.version);
    const RelayProcess wary(other.url(), trusting(row.trusted));
    Connection client(wary.port());
    client.send(wary.request("GET /v1/a"));
    EXPECT_EQ(other.serveOne(ok), "") << row.cause;
    EXPECT_NE(client.readAnswer().find("\"code\":\"upstream_unreachable\""), std::string::npos) << row.cause;
    EXPECT_TRUE(wary.logs(row.cause)) << wary.log();
  }
}

TEST_F(UpstreamTls, staysFitAndAtRestWhenOnlyTlsItselfSendsSomething) {
  Connection client(relay.port());
  client.send(relay.request("GET /v1/a"));
  upstream.serveOne(ok, true, [&](SSL* ssl) {
    EXPECT_EQ(client.readAnswer(), ok);
    const auto before = relay.processorTime();
    ASSERT_EQ(SSL_key_update(ssl, SSL_KEY_UPDATE_NOT_REQUESTED), 1);
    ASSERT_EQ(SSL_do_handshake(ssl), 1);
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT(relay.processorTime() - before, milliseconds(150));
    client.send(relay.request("GET /v1/b"));
    std::array<char, 1000> head{};
    EXPECT_GT(SSL_read(ssl, head.data(), head.size()), 0);
    SSL_write(ssl, ok.data(), static_cast<int>(ok.size()));
    EXPECT_EQ(client.readAnswer(), ok);
  });
  EXPECT_TRUE(relay.logs("upstream=reused end=complete"));
}

TEST_F(UpstreamTls, takesAnEndWithoutFarewellForABreak) {
  Connection client(relay.port());
  client.send(relay.request("GET /v1/a"));
  upstream.serveOne("HTTP/1.1 200 OK\r\n\r\npartial", false);
  EXPECT_TRUE(client.readAll().ends_with("<reset>"));
  EXPECT_TRUE(relay.logs("end=truncated"));
}

}  // namespace
}  // namespace ferrin::proxy::tests
