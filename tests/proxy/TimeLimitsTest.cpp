// A relay within the test, whose limits are short: those that nobody wants to sit through.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <optional>
#include <thread>

#include "proxy/Server.h"
#include "proxy/Services.h"
#include "tests/proxy/Peers.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy {
namespace {

using std::chrono::milliseconds;
using tests::Connection;

class TimeLimit : public testing::Test {
 protected:
  ~TimeLimit() override {
    kill(getpid(), SIGTERM);  // the relay's own way to end
    thread.join();
  }

  void start(const std::string& upstreamURL) {
    ferrin::tests::put(folder / "key", "sk-1");
    options.host = "127.0.0.1";
    options.upstream = parseUpstreamURL(upstreamURL);
    options.apiKeyFile = folder / "key";
    options.timeout = std::chrono::seconds(60);
    services.emplace(loop, options, log.get(), lengths);
    server.emplace(*services);
    server->start();
    thread = std::thread([this] { loop.run(); });
  }
  std::string request() const { return tests::request(services->port, "GET /v1/a"); }

  ferrin::tests::TemporaryFolder folder;
  core::FileDescriptor log{open("/dev/null", O_WRONLY | O_CLOEXEC)};
  Options options;
  TimeLengths lengths;
  EventLoop loop;
  std::optional<Services> services;
  std::optional<Server> server;
  std::thread thread;
};

TEST_F(TimeLimit, endsClientsThatDawdle) {
  lengths.head = milliseconds(300);
  lengths.idleClient = milliseconds(1500);
  start("http://127.0.0.1:9");
  const auto begin = Clock::now();
  Connection idle(services->port);
  Connection slow(services->port);
  slow.send("\r\n");
  EXPECT_TRUE(slow.silentFor(milliseconds(150)));
  slow.send("\r\nGET /v1/a");
  slow.readAll();
  EXPECT_GE(Clock::now() - begin, lengths.head);
  EXPECT_LT(Clock::now() - begin, lengths.head + milliseconds(140));
  EXPECT_TRUE(idle.silentFor(milliseconds(0)));
  idle.readAll();
  EXPECT_GE(Clock::now() - begin, lengths.idleClient);
}

TEST_F(TimeLimit, replacesAnIdleUpstreamConnectionWhileAClientStays) {
  tests::Upstream upstream;
  lengths.idleUpstream = milliseconds(300);
  start(upstream.url());
  Connection client(services->port);
  client.send(request());
  Connection side = upstream.accept();
  side.readHead();
  const auto begin = Clock::now();
  side.send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  client.readAnswer();
  EXPECT_LT(side.timeUntilClosed(), std::chrono::seconds(5));
  EXPECT_GE(Clock::now() - begin, lengths.idleUpstream);

  Connection warm = upstream.accept();
  EXPECT_TRUE(warm.silentFor(milliseconds(50)));  // opened before anybody asks for it
  client.send(request());
  warm.readHead();
  warm.send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
  client.readAnswer();
  client.close();
  EXPECT_LT(warm.timeUntilClosed(), std::chrono::seconds(5));
  EXPECT_TRUE(upstream.silentFor(milliseconds(200)));
}

TEST_F(TimeLimit, givesUpConnectingToWhoeverDoesNotAnswer) {
  const tests::DeafUpstream deaf;
  lengths.connect = milliseconds(300);
  start("http://127.0.0.1:" + std::to_string(deaf.port()));
  Connection client(services->port);
  client.send(request());
  EXPECT_TRUE(client.silentFor(milliseconds(150)));
  EXPECT_NE(client.readAnswer().find("\"code\":\"upstream_unreachable\""), std::string::npos);
}

TEST_F(TimeLimit, givesUpAgreeingOnTlsWithWhoeverDoesNotAnswer) {
  tests::Upstream mute;
  lengths.connect = milliseconds(300);
  start("https://127.0.0.1:" + std::to_string(mute.port()));
  Connection client(services->port);
  client.send(request());
  Connection side = mute.accept();
  EXPECT_NE(client.readAnswer().find("\"code\":\"upstream_unreachable\""), std::string::npos);
  EXPECT_LT(side.timeUntilClosed(), std::chrono::seconds(5));
}

}  // namespace
}  // namespace ferrin::proxy
