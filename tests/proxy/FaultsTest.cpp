// Bad days: what breaks off, runs out or changes while others are served. Nothing crashes, leaks or is mixed
// up.

#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/proxy/Peers.h"
#include "tests/proxy/RelayProcess.h"

namespace ferrin::proxy::tests {
namespace {

using ferrin::tests::put;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Answer = RelayTest;
using SlowClients = RelayTest;
using CrowdedRelay = RelayTest;

// ---- Many at once

/// What is said in the exchange `mark`, by the client and by the upstream.
std::string contentOf(std::uint32_t mark, std::size_t size) {
  std::string content;
  while (content.size() < size) content += std::to_string(mark) + "/";
  return content;
}

std::string bodyOf(std::uint32_t mark) { return contentOf(mark, mark % 3000); }

std::string answerTo(std::uint32_t mark) {
  const std::string content = contentOf(~mark, mark % 50'000);
  if (mark % 3 == 0)
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(content.size()) + "\r\n\r\n" + content;
  std::string answer = streamHead;
  for (std::size_t at = 0; at < content.size(); at += 0x500)
    answer += (at + 0x500 <= content.size() ? "500\r\n" + content.substr(at, 0x500) + "\r\n" : "");
  return answer + "0\r\n\r\n";
}

/// How much of its answer the upstream sends before it leaves; the whole if it stays.
std::size_t sentOf(std::uint32_t mark, std::size_t size) { return mark % 7 == 0 ? mark / 7 % size : size; }

bool resets(std::uint32_t mark) { return mark % 2 == 0; }

/// An upstream that answers all connections at once.
class BusyUpstream {
 public:
  BusyUpstream() : thread([this] { serve(); }) {}
  BusyUpstream(const BusyUpstream&) = delete;
  ~BusyUpstream() {
    stopping = true;
    Connection(upstream.port()).close();
    thread.join();
    while (running != 0) std::this_thread::yield();
  }
  std::string url() const { return upstream.url(); }

 private:
  void serve() {
    while (!stopping) {
      ++running;
      std::thread([this, side = std::make_shared<Connection>(upstream.accept())] {
        try {
          while (answer(*side)) {}
        } catch (const std::exception&) {  // the relay has left
        }
        --running;
      }).detach();
    }
  }

  bool answer(Connection& side) {
    while (side.silentFor(seconds(1)) && !stopping) {}  // an idle connection is the relay's to close
    const std::string request = side.readAnswer();
    const auto mark = static_cast<std::uint32_t>(std::stoul(request.substr(request.find('/') + 1)));
    EXPECT_NE(request.find("\r\nAuthorization: Bearer sk-"), std::string::npos) << request;
    EXPECT_TRUE(request.ends_with("\r\n\r\n" + bodyOf(mark))) << request;
    const std::string answer = answerTo(mark);
    const std::size_t sent = sentOf(mark, answer.size());
    side.send(answer.substr(0, sent / 2));
    side.send(answer.substr(sent / 2, sent - sent / 2));
    if (sent < answer.size()) resets(mark) ? side.reset() : side.close();
    return sent == answer.size();
  }

  Upstream upstream;
  std::atomic<bool> stopping = false;
  std::atomic<int> running = 0;
  std::thread thread;
};

/// What the client sees of an answer that the upstream broke off after `sent` bytes. What a reset overtakes
/// is lost: the end of what the client would have seen, or, if `mayBeLost`, all that the relay would have.
void expectBrokenOff(Connection& client, const std::string& answer, std::size_t sent, bool mayBeLost) {
  std::string seen = client.readSome();
  const bool begun = sent >= answer.find("\r\n\r\n") + 4;
  if (!begun || (mayBeLost && seen.starts_with("HTTP/1.1 502 "))) {
    EXPECT_TRUE(seen.starts_with("HTTP/1.1 502 ")) << seen.substr(0, 50);
    return;
  }
  while (!seen.ends_with("<reset>")) {
    const std::string more = client.readSome();
    if (more.empty()) break;
    seen += more;
  }
  ASSERT_TRUE(seen.ends_with("<reset>")) << seen.substr(0, 50);
  EXPECT_TRUE(answer.substr(0, sent).starts_with(seen.substr(0, seen.size() - 7)));
}

/// One client after the other, of whom some leave anywhere in their request or in its answer.
int strayClients(const RelayProcess& relay, unsigned seed, const std::atomic<bool>& enough) {
  std::mt19937 random(seed);
  std::optional<Connection> client;
  int count = 0;
  for (; !enough; ++count) {
    const auto mark = static_cast<std::uint32_t>(random());
    const std::string request = relay.request("POST /v1/" + std::to_string(mark), "", bodyOf(mark));
    const std::string answer = answerTo(mark);
    const std::size_t sent = sentOf(mark, answer.size());
    const unsigned leaving = random() % 8;
    if (!client || random() % 4 == 0) client.emplace(relay.port());
    client->send(leaving == 0 ? request.substr(0, random() % request.size()) : request);
    if (leaving == 1 && sent == answer.size()) client->read(random() % answer.size());
    if (leaving < 2) {
      random() % 2 == 0 ? client->reset() : client->close();
      client.reset();
    } else if (sent == answer.size()) {
      EXPECT_TRUE(client->read(answer.size()) == answer) << "of exchange " << mark;
    } else {
      expectBrokenOff(*client, answer, sent, resets(mark));
      client.reset();
    }
  }
  return count;
}

constexpr unsigned stormClients = 64;

class Storm : public testing::TestWithParam<const char*> {};

TEST_P(Storm, mixesNothingUpAndLeavesNothingBehind) {
  const char* longer = std::getenv("FERRIN_STORM_SECONDS");
  const seconds length(longer == nullptr ? 3 : std::atoi(longer));
  BusyUpstream upstream;
  RelayProcess::Settings settings;
  settings.program = GetParam();
  settings.sanitizerOptions("quarantine_size_mb=1:malloc_context_size=1");  // what is freed is free
  const RelayProcess relay(upstream.url(), settings);
  const auto storm = [&](seconds time) {
    std::atomic<bool> enough = false;
    std::vector<std::future<int>> clients;
    for (unsigned seed = 1; seed <= stormClients; ++seed)
      clients.push_back(
          std::async(std::launch::async, [&, seed] { return strayClients(relay, seed, enough); }));
    const auto end = std::chrono::steady_clock::now() + time;
    for (int turn = 0; turn < 1000 || std::chrono::steady_clock::now() < end; ++turn) {
      put(relay.keyFile().string() + ".new", "sk-" + std::to_string(turn));
      std::filesystem::rename(relay.keyFile().string() + ".new", relay.keyFile());
      if (turn % 100 == 99) std::this_thread::sleep_for(time / 10);
    }
    enough = true;
    int count = 0;
    for (auto& client : clients) count += client.get();
    return count;
  };
  storm(seconds(2));
  const std::size_t before = relay.residentBytes();
  const int count = storm(length);
  RecordProperty("exchanges", count);
  EXPECT_GT(count, 100);
  EXPECT_LE(relay.openDescriptors(), 16U + stormClients);  // as many are kept for the next requests
  EXPECT_LT(relay.residentBytes(), before + 2'000'000);
  EXPECT_EQ(relay.log().find("internal error"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Builds, Storm, testing::Values(FERRIN_RELAY_PROGRAM, FERRIN_RELEASED_RELAY_PROGRAM));

TEST_F(Answer, thatBreaksOffAtAnyByteIsNotTakenForAWholeOne) {
  for (const std::string& answer : {streamHead + "5;x\r\nhello\r\n0\r\nT: v\r\n\r\n", ok}) {
    for (std::size_t sent = 0; sent < 2 * answer.size(); ++sent) {
      auto [client, side] = joined(relay, upstream);
      side.send(answer.substr(0, sent / 2));
      if (sent / 2 >= answer.find("\r\n\r\n") + 4) {
        EXPECT_EQ(client.read(sent / 2), answer.substr(0, sent / 2));
      }
      sent % 2 == 0 ? side.close() : side.reset();
      expectBrokenOff(client, answer, sent / 2, false);
    }
  }
  EXPECT_TRUE(relay.logs("end=truncated cause=\"closed in mid-answer; try again\""));
}

// ---- Slow ones

TEST_F(SlowClients, costNoMoreThanTheirShareAndHoldUpNobody) {
  Connection quick(relay.port());
  const auto slowest = [&](int count, const auto& between) {
    milliseconds worst{};
    for (int turn = 0; turn < count; ++turn) {
      between(static_cast<std::size_t>(turn));
      const auto start = std::chrono::steady_clock::now();
      quick.send(relay.request("GET /healthz"));
      EXPECT_TRUE(quick.readAnswer().starts_with("HTTP/1.1 200 "));
      worst =
          std::max(worst, std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start));
    }
    return worst;
  };
  constexpr int clients = 100;
  constexpr int bytes = 40;
  auto before = relay.processorTime();
  slowest(clients * bytes, [](std::size_t) {});
  const auto forRequests = relay.processorTime() - before;

  std::vector<Connection> inHead;
  std::vector<std::pair<Connection, Connection>> inBody;
  for (int count = 0; count < clients / 2; ++count) {
    inHead.emplace_back(relay.port());
    Connection client(relay.port());
    client.send(relay.request("POST /v1/a", "Content-Length: 1000\r\n"));
    inBody.emplace_back(std::move(client), upstream.accept());
  }
  const std::string request = relay.request("POST /v1/a");
  before = relay.processorTime();
  const auto delay = slowest(bytes, [&](std::size_t turn) {
    for (Connection& client : inHead) client.send(request.substr(turn, 1));
    for (auto& [client, side] : inBody) client.send("x");
  });
  EXPECT_LT(relay.processorTime() - before,
            2 * forRequests + milliseconds(50));  // a byte costs as a request does
  EXPECT_LT(delay, milliseconds(500));
  EXPECT_TRUE(inBody.back().second.readUntil(std::string(bytes, 'x')).starts_with("POST /a "));
}

TEST(SlowReader, isLeftWhenItTakesNothingForTooLong) {
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.timeout = "1";
  const RelayProcess relay(upstream.url(), settings);
  Connection client(relay.port(), 4096);
  client.send(relay.request("GET /v1/a"));
  Connection side = upstream.accept();
  side.readHead();
  side.send("HTTP/1.1 200 OK\r\nContent-Length: 100000000\r\n\r\n");
  while (side.sendSome(std::string(1'000'000, 'x')) > 0) {}
  EXPECT_LT(side.timeUntilClosed(), seconds(3));
  EXPECT_TRUE(relay.logs("end=truncated cause=\"no byte for too long; try again\""));
}

// ---- What runs out

TEST_F(CrowdedRelay, servesOrTurnsAwayThoseThatComeAllAtOnce) {
  std::vector<Connection> waiting;
  relay.signal(SIGSTOP);
  for (int count = 0; count < 1200; ++count) {
    waiting.emplace_back(relay.port());
    waiting.back().send(relay.request("GET /healthz"));
  }
  relay.signal(SIGCONT);
  std::size_t served = 0;
  std::size_t told = 0;
  for (Connection& client : waiting) {
    const std::string answer = client.readSome();
    served += answer.starts_with("HTTP/1.1 200 ") ? 1 : 0;
    told += answer.find("\"code\":\"too_many_connections\"") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(served, 1024U);
  EXPECT_GE(told, 1U);
  waiting.pop_back();
  waiting.erase(waiting.begin(), waiting.begin() + 10);
  for (bool again = false; !again;) {  // as soon as the relay has seen others go
    Connection next(relay.port());
    next.send(relay.request("GET /healthz"));
    again = next.readSome().starts_with("HTTP/1.1 200 ");
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
  Connection client(relay.port());
  client.send(relay.request("GET /healthz"));
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 200 "));
  {
    std::vector<Connection> connections;
    for (int count = 0; count < 8; ++count) connections.emplace_back(relay.port());
    EXPECT_TRUE(relay.logs("can't accept connections: Too many open files"));
    client.send(relay.request("GET /v1/a"));
    EXPECT_TRUE(
        client.readAnswer().starts_with("HTTP/1.1 50"));  // neither key file nor upstream can be opened
  }
  EXPECT_TRUE(relay.logs("accepting connections again"));
  client.send(relay.request("GET /v1/a"));
  upstream.accept().send(ok);
  EXPECT_EQ(client.readAnswer(), ok);
}

/// A file system of this process's own, on which temporary folders lie for as long as the object lives.
class SmallDisk {
 public:
  static constexpr std::size_t bytes = 64 * 1024;
  SmallDisk() {
    const auto size = "size=" + std::to_string(bytes);
    isMounted = unshare(CLONE_NEWNS) == 0 &&
                mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("tmpfs", folder.path().c_str(), "tmpfs", 0, size.c_str()) == 0;
    if (isMounted) setenv("TMPDIR", folder.path().c_str(), 1);
  }
  SmallDisk(const SmallDisk&) = delete;
  ~SmallDisk() {
    unsetenv("TMPDIR");
    if (isMounted) umount2(folder.path().c_str(), MNT_DETACH);
  }
  bool mounted() const { return isMounted; }
  std::filesystem::path filler() const { return folder / "filler"; }

 private:
  ferrin::tests::TemporaryFolder folder;
  bool isMounted;
};

TEST(FullDisk, costsLogLinesAndNothingElse) {
  const SmallDisk disk;
  if (!disk.mounted()) GTEST_SKIP() << "nothing can be mounted here";
  Upstream upstream;
  const RelayProcess relay(upstream.url());
  put(disk.filler(), std::string(SmallDisk::bytes, 'x'));
  Connection client(relay.port());
  std::optional<Connection> side;
  for (int count = 0; count < 100; ++count) {
    client.send(relay.request("GET /v1/lost"));
    if (!side) side.emplace(upstream.accept());
    side->readHead();
    side->send(ok);
    ASSERT_EQ(client.readAnswer(), ok);
  }
  EXPECT_LT(relay.log().size(), 8192U);
  std::filesystem::remove(disk.filler());
  client.send(relay.request("GET /other"));
  EXPECT_TRUE(client.readAnswer().starts_with("HTTP/1.1 404 "));
  EXPECT_TRUE(relay.logs("GET /other 404"));
  const std::string log = relay.log();
  for (std::size_t zone = log.find("Z GET"); zone != std::string::npos; zone = log.find("Z GET", zone + 1))
    EXPECT_EQ(log.substr(zone - 24, 2), "\n2") << "behind a line that was cut off";
}

// ---- What changes

TEST(Clock, setBackEndsNothingAndDelaysNothing) {
  const ferrin::tests::TemporaryFolder folder;
  put(folder / "clock", "0");
  Upstream upstream;
  RelayProcess::Settings settings;
  settings.timeout = "1";
  settings.surround({{"FERRIN_CLOCK", folder / "clock"}});
  const RelayProcess relay(upstream.url(), settings);
  auto [client, side] = joined(relay, upstream);
  side.send(streamHead);
  client.readHead();
  put(folder / "clock", "1000000000");
  side.send("1\r\nx\r\n");
  EXPECT_EQ(client.read(6), "1\r\nx\r\n");
  put(relay.keyFile(), "sk-other");
  const auto time = client.timeUntilClosed();
  EXPECT_GT(time, milliseconds(800));
  EXPECT_LT(time, milliseconds(2500));
  EXPECT_TRUE(relay.logs("GET /v1/a 200 in=0 out=1 "));
  EXPECT_NE(relay.log().find("\n19"), std::string::npos) << relay.log();  // the year: the clock did go back
  Connection next(relay.port());
  next.send(relay.request("GET /v1/b"));
  EXPECT_NE(upstream.accept().readHead().find("Bearer sk-other\r\n"), std::string::npos);
}

TEST(Names, areLookedUpForEachConnectionAndBrokenAddressesPassedOver) {
  const ferrin::tests::TemporaryFolder folder;
  Upstream first;
  Upstream second("127.0.0.2", first.port());
  RelayProcess::Settings settings;
  settings.surround({{"FERRIN_ADDRESSES", folder / "addresses"}});
  const RelayProcess relay("http://listed.example:" + std::to_string(first.port()), settings);
  Connection client(relay.port());
  const auto reaches = [&](const std::string& addresses, Upstream& upstream) {
    put(folder / "addresses", addresses);
    client.send(relay.request("GET /v1/a"));
    Connection side = upstream.accept();
    EXPECT_NE(side.readHead().find("\r\nHost: listed.example:"), std::string::npos);
    side.send("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok");
    EXPECT_EQ(client.readAnswer(), ok);
    EXPECT_LT(side.timeUntilClosed(), seconds(1));
  };
  reaches("127.0.0.1\n", first);
  reaches("127.0.0.2\n", second);
  reaches("100::1\n::1\n127.0.0.1\n", first);  // one without a way, one where nobody listens
}

}  // namespace
}  // namespace ferrin::proxy::tests
