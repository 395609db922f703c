#include "proxy/AddressRace.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/proxy/Peers.h"

namespace ferrin::proxy {
namespace {

Endpoints endpoints(std::initializer_list<const char*> addresses, std::uint16_t port = 1) {
  Endpoints list;
  for (const char* address : addresses) list.emplace_back(boost::asio::ip::make_address(address), port);
  return list;
}

TEST(Interleaved, letsTheFamiliesTakeTurns) {
  EXPECT_EQ(interleaved(endpoints({"::1", "::2", "::3", "10.0.0.1", "10.0.0.2"})),
            endpoints({"::1", "10.0.0.1", "::2", "10.0.0.2", "::3"}));
  EXPECT_EQ(interleaved(endpoints({"10.0.0.1", "::1"})), endpoints({"10.0.0.1", "::1"}));
  EXPECT_EQ(interleaved(endpoints({"10.0.0.1", "10.0.0.2"})), endpoints({"10.0.0.1", "10.0.0.2"}));
  EXPECT_TRUE(interleaved({}).empty());
}

const auto loopback = boost::asio::ip::make_address("127.0.0.1");

class Racing : public testing::Test {
 protected:
  void race(Endpoints inOrder) {
    addresses = std::make_unique<AddressRace>(loop, limits, std::move(inOrder));
    run();
  }
  Detached run() {
    result = co_await addresses->run();
    ended = true;
  }

  EventLoop loop;
  TimeLimits limits{loop.deadlines(), std::chrono::seconds(60)};
  std::unique_ptr<AddressRace> addresses;
  Descriptor result;
  bool ended = false;
};

TEST_F(Racing, goesOnFromFailingAndDeafAddresses) {
  tests::Upstream open;
  const tests::DeafUpstream deaf;
  const auto start = Clock::now();
  race({{loopback, tests::unusedPort()}, {loopback, deaf.port()}, {loopback, open.port()}});
  while (!ended && Clock::now() - start < std::chrono::seconds(5)) loop.turn(std::chrono::seconds(1));
  ASSERT_TRUE(result);
  tests::Connection winner(core::FileDescriptor(dup(result.get())));
  winner.send("hello");
  EXPECT_EQ(open.accept().read(5), "hello");
  EXPECT_EQ(addresses->problem(), "127.0.0.1: Connection refused");
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(250));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
}

TEST_F(Racing, endsWhenItIsCancelled) {
  const tests::DeafUpstream deaf;
  race({{loopback, deaf.port()}});
  EXPECT_FALSE(ended);
  addresses->cancel();
  EXPECT_TRUE(ended);
  EXPECT_FALSE(result);
  addresses.reset();
  loop.turn(std::chrono::milliseconds(50));  // late completions find nobody
}

}  // namespace
}  // namespace ferrin::proxy
