// From the command line to the last log line, with many clients and bad days in between.

#include <gtest/gtest.h>
#include <signal.h>

#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/proxy/Peers.h"
#include "tests/proxy/RelayProcess.h"

namespace ferrin::proxy::tests {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Idle = RelayTest;

std::vector<std::string> arguments(const std::string& port) {
  return {"--host",         "127.0.0.1", "--port",    port, "--upstream", "http://127.0.0.1:9",
          "--api-key-file", "/k",        "--timeout", "1"};
}

TEST(Start, saysInOneLineWhatIsWrong) {
  auto [status, output] = runRelay({});
  EXPECT_EQ(status, 2);
  EXPECT_EQ(output, "--host: missing\n");
  const Upstream holder;
  const std::string port = std::to_string(holder.port());
  std::tie(status, output) = runRelay(arguments(port));
  EXPECT_EQ(status, 1);
  EXPECT_TRUE(output.starts_with("port " + port + ": Address already in use, by ferrin_relay")) << output;
  EXPECT_TRUE(output.ends_with("(process " + std::to_string(getpid()) + "); end that program first\n"))
      << output;
}

TEST(Start, announcesWhereItListensInTheFirstLineAndThenWhatItIs) {
  const RelayProcess relay("http://127.0.0.1:9/v1");
  EXPECT_TRUE(relay.log().starts_with("listening on http://127.0.0.1:" + std::to_string(relay.port()) +
                                      "/v1, forwarding to http://127.0.0.1:9/v1\n"))
      << relay.log();
  EXPECT_TRUE(relay.logs(", upstream 127.0.0.1, started by hand\n")) << relay.log();
  EXPECT_NE(relay.log().find("Z ferrin-third-party-proxy "), std::string::npos) << relay.log();
}

TEST(Stop, letsExchangesEndAndTakesNoNewOnes) {
  Upstream upstream;
  RelayProcess relay(upstream.url());
  Connection idle(relay.port());
  auto [busy, side] = joined(relay, upstream);
  side.send(streamHead + "1\r\nx\r\n");
  busy.readUntil("x\r\n");
  relay.signal(SIGTERM);
  EXPECT_LT(idle.timeUntilClosed(), seconds(1));
  EXPECT_THROW(Connection(relay.port()), std::system_error);
  side.send("1\r\ny\r\n0\r\n\r\n");
  EXPECT_EQ(busy.readAll(), "1\r\ny\r\n0\r\n\r\n");
  EXPECT_EQ(relay.wait(), 0);
}

TEST(Stop, endsAtTheSecondSignalOrAfterFourSeconds) {
  for (const bool second : {true, false}) {
    Upstream upstream;
    RelayProcess relay(upstream.url());
    auto [client, side] = joined(relay, upstream);
    side.send(streamHead);
    client.readHead();
    auto [waiting, mute] = joined(relay, upstream, relay.request("GET /v1/b"));
    const auto start = std::chrono::steady_clock::now();
    relay.signal(SIGINT);
    if (second) {
      EXPECT_TRUE(relay.logs("stopping"));
      relay.signal(SIGINT);
    }
    EXPECT_EQ(relay.wait(), 0);
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_LT(time, second ? milliseconds(1500) : milliseconds(4900));
    EXPECT_GT(time, second ? milliseconds(0) : milliseconds(3500));
    EXPECT_TRUE(client.readAll().ends_with("<reset>"));
    EXPECT_TRUE(waiting.readAnswer().starts_with("HTTP/1.1 502 "));
  }
}

TEST_F(Idle, takesNoProcessorTime) {
  {
    auto [client, side] = joined(relay, upstream);
    side.send("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok");
    client.readAnswer();
  }
  auto [listening, silent] = joined(relay, upstream);  // nothing happens here either
  silent.send(streamHead);
  listening.readHead();
  const auto switches = [this] {
    const std::string status =
        ferrin::tests::contentOf("/proc/" + std::to_string(relay.process()) + "/status");
    return status.substr(status.find("voluntary_ctxt_switches"));
  };
  EXPECT_TRUE(relay.logs("end=complete"));
  std::this_thread::sleep_for(milliseconds(200));  // the last exchange's own end
  const std::string before = switches();
  std::this_thread::sleep_for(seconds(2));
  EXPECT_EQ(switches(), before);
}

TEST(Log, staysUnderItsLimit) {
  RelayProcess::Settings settings;
  settings.logContent = std::string(10 * 1024 * 1024 - 50, 'x') + "\nnewest\n";
  const RelayProcess relay("http://127.0.0.1:9", settings);
  Connection client(relay.port());
  client.send(relay.request("GET /other"));
  client.readAnswer();
  EXPECT_TRUE(relay.logs("GET /other 404"));
  EXPECT_LT(relay.log().size(), 6'000'000U);
  EXPECT_TRUE(relay.log().starts_with("newest\n")) << relay.log().substr(0, 100);
}

}  // namespace
}  // namespace ferrin::proxy::tests
