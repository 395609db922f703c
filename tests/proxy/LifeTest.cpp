// From the command line to the last log line, with many clients and bad days in between.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <memory>
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

const std::string ok = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
const std::string streamHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

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
  EXPECT_TRUE(output.ends_with("(process " + std::to_string(getpid()) + ")\n")) << output;
}

TEST(Start, announcesWhereItListensInTheFirstLine) {
  const RelayProcess relay("http://127.0.0.1:9/v1");
  EXPECT_TRUE(relay.log().starts_with("listening on http://127.0.0.1:" + std::to_string(relay.port()) +
                                      "/v1, forwarding to http://127.0.0.1:9/v1\n"))
      << relay.log();
}

TEST(Stop, letsExchangesEndAndTakesNoNewOnes) {
  Upstream upstream;
  RelayProcess relay(upstream.url());
  Connection idle(relay.port());
  Connection busy(relay.port());
  busy.send(relay.request("GET /v1/a"));
  Connection side = upstream.accept();
  side.readHead();
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
    Connection client(relay.port());
    client.send(relay.request("GET /v1/a"));
    Connection side = upstream.accept();
    side.readHead();
    side.send(streamHead);
    client.readHead();
    Connection waiting(relay.port());  // for an answer's head, and staying behind it
    waiting.send(relay.request("GET /v1/b"));
    Connection mute = upstream.accept();
    mute.readHead();
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

TEST(Connections, beyondTheLimitAreToldSo) {
  Upstream upstream;
  const RelayProcess relay(upstream.url());
  std::vector<std::unique_ptr<Connection>> connections;
  for (int count = 0; count < 1024; ++count)
    connections.push_back(std::make_unique<Connection>(relay.port()));
  Connection last(relay.port());
  const std::string answer = last.readAll();
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 503 ")) << answer;
  EXPECT_NE(answer.find("\"code\":\"too_many_connections\""), std::string::npos);
  connections.pop_back();
  for (bool served = false; !served;) {  // as soon as the relay has seen the other one go
    Connection next(relay.port());
    next.send(relay.request("GET /healthz"));
    served = next.readAnswer().starts_with("HTTP/1.1 200 ");
  }
}

TEST(Connections, afterDescriptorsRanOutAreServedAgain) {
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.program = FERRIN_RELEASED_RELAY_PROGRAM;  // the sanitizers want descriptors of their own
  const RelayProcess relay(upstream.url(), settings);
  const rlim_t room = relay.openDescriptors() + 4;
  const rlimit narrow{room, room};
  ASSERT_EQ(prlimit(relay.process(), RLIMIT_NOFILE, &narrow, nullptr), 0);
  {
    std::vector<std::unique_ptr<Connection>> connections;
    for (int count = 0; count < 8; ++count) connections.push_back(std::make_unique<Connection>(relay.port()));
    EXPECT_TRUE(relay.logs("can't accept connections: Too many open files"));
  }
  EXPECT_TRUE(relay.logs("accepting connections again"));
  Connection client(relay.port());
  client.send(relay.request("GET /healthz"));
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 200 "));
}

TEST(Idle, takesNoProcessorTime) {
  Upstream upstream;
  const RelayProcess relay(upstream.url());
  {
    Connection client(relay.port());
    client.send(relay.request("GET /v1/a"));
    Connection side = upstream.accept();
    side.readHead();
    side.send("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok");
    client.readAnswer();
  }
  const auto switches = [&relay] {
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

/// The upstream's side of the request that names `mark`. Those that broke off before it are passed over.
std::pair<Connection, std::string> acceptRequest(Upstream& upstream, const std::string& mark) {
  for (;;) {
    Connection side = upstream.accept();
    try {
      std::string head = side.readHead();
      if (head.find(mark) != std::string::npos) return {std::move(side), std::move(head)};
    } catch (const std::runtime_error&) {
      continue;
    }
  }
}

/// One client's stream with content of its own, which ends well, or is left by one side at a random moment.
void strayStream(const RelayProcess& relay, Upstream& upstream, std::mt19937& random) {
  Connection client(relay.port());
  const std::string mark = std::to_string(random());
  const std::string body(random() % 3000, 'b');
  const std::string whole = relay.request("POST /v1/" + mark, "", body);
  const int leaver = static_cast<int>(random() % 5);
  if (leaver == 0) return client.send(whole.substr(0, random() % whole.size()));
  client.send(whole);
  auto [side, head] = acceptRequest(upstream, mark);
  const std::string seen = head.substr(6, head.find(" HTTP") - 6);
  const std::string answer = streamHead + "a\r\n" + (seen + "          ").substr(0, 10) + "\r\n0\r\n\r\n";
  const std::size_t cut = leaver < 3 ? random() % answer.size() : answer.size();
  side.send(answer.substr(0, cut));
  if (leaver == 1) return random() % 2 == 0 ? side.reset() : side.close();
  if (leaver == 2) return random() % 2 == 0 ? client.reset() : client.close();
  EXPECT_EQ(seen, mark);
  EXPECT_EQ(client.readUntil("0\r\n\r\n"), answer);
}

class Faults : public testing::TestWithParam<const char*> {};

TEST_P(Faults, leaveNeitherDescriptorsNorMemoryBehind) {
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.program = GetParam();
  const RelayProcess relay(upstream.url(), settings);
  std::mt19937 random(20261121);
  const auto round = [&](int count) {
    for (int index = 0; index < count; ++index) strayStream(relay, upstream, random);
    while (!upstream.silentFor(milliseconds(100))) upstream.accept();
  };
  round(200);
  const std::size_t before = relay.residentBytes();
  round(1500);
  EXPECT_LE(relay.openDescriptors(), 16U) << relay.log().substr(relay.log().size() - 500);
  const bool sanitized =
      std::string_view(GetParam()) == FERRIN_RELAY_PROGRAM;  // which keeps freed memory to itself
  EXPECT_LT(relay.residentBytes(), before + (sanitized ? 60'000'000 : 500'000));
}

INSTANTIATE_TEST_SUITE_P(Builds, Faults,
                         testing::Values(FERRIN_RELAY_PROGRAM, FERRIN_RELEASED_RELAY_PROGRAM));

TEST(ThousandStreams, eachGetTheirOwn) {
  Upstream upstream;
  const RelayProcess relay(upstream.url());
  struct Stream {
    std::unique_ptr<Connection> client;
    std::unique_ptr<Connection> side;
    std::string mark;
  };
  std::vector<Stream> streams(1000);
  for (std::size_t index = 0; index < streams.size(); ++index) {
    Stream& stream = streams[index];
    stream.client = std::make_unique<Connection>(relay.port());
    stream.client->send(relay.request("GET /v1/" + std::to_string(index)));
    stream.side = std::make_unique<Connection>(upstream.accept());
    const std::string head = stream.side->readHead();
    stream.mark = head.substr(5, head.find(" HTTP") - 5);
    ASSERT_EQ(stream.mark, std::to_string(index));
    stream.side->send(streamHead);
  }
  for (int beat = 0; beat < 3; ++beat) {
    for (Stream& stream : streams)
      stream.side->send("8\r\n" + (stream.mark + "........").substr(0, 8) + "\r\n");
  }
  for (Stream& stream : streams) {
    stream.side->send("0\r\n\r\n");
    const std::string event = "8\r\n" + (stream.mark + "........").substr(0, 8) + "\r\n";
    ASSERT_EQ(stream.client->readUntil("\r\n0\r\n\r\n"), streamHead + event + event + event + "0\r\n\r\n");
  }
}

TEST(MalformedHeads, areAnsweredOrClosed) {
  Upstream upstream;
  const RelayProcess relay(upstream.url());
  std::mt19937 random(7);
  const std::string good =
      relay.request("POST /v1/x", "Transfer-Encoding: chunked\r\n") + "2\r\nhi\r\n0\r\n\r\n";
  for (int round = 0; round < 800; ++round) {
    std::string bytes = good;
    for (std::size_t changes = random() % 4 + 1; changes > 0; --changes) {
      const std::size_t at = random() % bytes.size();
      switch (random() % 3) {
        case 0:
          bytes[at] = static_cast<char>(random());
          break;
        case 1:
          bytes.erase(at, random() % 8);
          break;
        default:
          bytes.insert(at, bytes.substr(random() % bytes.size(), random() % 30));
      }
    }
    Connection client(relay.port());
    client.send(bytes);
    client.finishSending();
    while (!upstream.silentFor(milliseconds(0))) upstream.accept().close();
    client.readAll();
  }
  Connection client(relay.port());
  client.send(relay.request("GET /healthz"));
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 200 "));
}

}  // namespace
}  // namespace ferrin::proxy::tests
