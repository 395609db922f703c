#include "proxy/NameLookups.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <future>
#include <optional>
#include <thread>

namespace ferrin::proxy {
namespace {

using std::chrono::milliseconds;

/// Look-ups that take as long as the test wants.
class NameLookup : public testing::Test {
 protected:
  ~NameLookup() override {
    for (auto& answer : answers) answer.set_value({});
  }

  struct Asker {
    NameLookups::Wait wait;
    std::optional<Found> found;
  };
  Detached ask(Asker& asker) { asker.found = co_await names->find(asker.wait); }

  /// In a look-up's thread, which may outlive the test behind this.
  Found answer() {
    std::future<Found> mine = std::move(futures.at(asked));
    ++asked;
    return mine.get();
  }
  void answerWith(std::size_t which, std::string problem) {
    answers.at(which).set_value({{}, std::move(problem)});
    answers.at(which) = {};
  }
  template <typename Condition>
  bool eventually(Condition holds) {
    for (int round = 0; round < 1000 && !holds(); ++round) loop.turn(milliseconds(5));
    return holds();
  }

  EventLoop loop;
  std::atomic<std::size_t> asked = 0;
  std::array<std::promise<Found>, 2> answers;
  std::array<std::future<Found>, 2> futures{answers[0].get_future(), answers[1].get_future()};
  std::optional<NameLookups> names{std::in_place, loop, [this] { return answer(); }};
};

TEST_F(NameLookup, isSharedByThoseWhoAskAtOnceAndLeftByThoseWhoCancel) {
  Asker staying;
  Asker leaving;
  ask(staying);
  ask(leaving);
  leaving.wait.cancel();
  EXPECT_TRUE(leaving.found);
  EXPECT_FALSE(staying.found);
  answerWith(0, "answered");
  EXPECT_TRUE(eventually([&] { return staying.found.has_value(); }));
  EXPECT_EQ(staying.found->problem, "answered");
  EXPECT_EQ(asked, 1U);
}

TEST_F(NameLookup, thatHangsHoldsUpNoLaterOne) {
  Asker stuck;
  Asker later;
  ask(stuck);
  ASSERT_TRUE(eventually([&] { return asked == 1; }));
  std::this_thread::sleep_for(milliseconds(260));
  ask(later);
  ASSERT_TRUE(eventually([&] { return asked == 2; }));
  answerWith(1, "second");
  EXPECT_TRUE(eventually([&] { return later.found.has_value(); }));
  EXPECT_FALSE(stuck.found);
  stuck.wait.cancel();
}

TEST(LookUp, findsAddressesWithThePortOrSaysWhyNot) {
  const Found found = lookUp("localhost", 8787);
  ASSERT_FALSE(found.endpoints.empty());
  for (const auto& endpoint : found.endpoints) {
    EXPECT_TRUE(endpoint.address().is_loopback());
    EXPECT_EQ(endpoint.port(), 8787);
  }
  EXPECT_NE(lookUp("no such host", 1).problem, "");
}

}  // namespace
}  // namespace ferrin::proxy
