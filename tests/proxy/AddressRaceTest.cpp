#include "proxy/AddressRace.h"

#include <gtest/gtest.h>

#include "tests/proxy/Peers.h"

namespace ferrin::proxy {
namespace {

using tcp = boost::asio::ip::tcp;

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

Detached race(AddressRace& addresses, std::optional<tcp::socket>& result, bool& ended) {
  result = co_await addresses.run();
  ended = true;
}

TEST(AddressRace, goesOnFromFailingAndDeafAddresses) {
  boost::asio::io_context loop;
  Deadlines deadlines(loop);
  TimeLimits limits(deadlines, std::chrono::seconds(60));
  tcp::acceptor open(loop, {loopback, 0});
  const tests::DeafUpstream deaf;
  tcp::acceptor closed(loop, {loopback, 0});
  const tcp::endpoint refusing = closed.local_endpoint();
  closed.close();

  AddressRace addresses(loop, limits, {refusing, {loopback, deaf.port()}, open.local_endpoint()});
  std::optional<tcp::socket> result;
  bool ended = false;
  const auto start = Clock::now();
  race(addresses, result, ended);
  while (!ended) loop.run_one_for(std::chrono::seconds(5));
  ASSERT_TRUE(result);
  EXPECT_EQ(result->remote_endpoint(), open.local_endpoint());
  EXPECT_EQ(addresses.problem(), "127.0.0.1: Connection refused");
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(250));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(3));
}

TEST(AddressRace, endsWhenAllHaveFailedOrItIsCancelled) {
  boost::asio::io_context loop;
  Deadlines deadlines(loop);
  TimeLimits limits(deadlines, std::chrono::seconds(60));
  const tests::DeafUpstream deaf;
  std::optional<tcp::socket> result;
  bool ended = false;
  {
    AddressRace addresses(loop, limits, {{loopback, deaf.port()}});
    race(addresses, result, ended);
    EXPECT_FALSE(ended);
    addresses.cancel();
    EXPECT_TRUE(ended);
  }
  EXPECT_FALSE(result);
  loop.run_for(std::chrono::milliseconds(50));  // late completions find nobody
}

}  // namespace
}  // namespace ferrin::proxy
