#include "app/ThreadDispatcher.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>

namespace ferrin::app {
namespace {

using namespace std::chrono_literals;

struct Loop {
  std::counting_semaphore<> woken{0};
  std::optional<ThreadDispatcher> dispatcher{std::in_place, [this] { woken.release(); }};

  void runOnce() {
    ASSERT_TRUE(woken.try_acquire_for(30s));
    dispatcher->runMainQueue();
  }
};

TEST(ThreadDispatcher, worksBesideTheMainThreadAndReportsOnIt) {
  Loop loop;
  std::thread::id worker;
  std::thread::id reporter;
  loop.dispatcher->inBackground([&] {
    worker = std::this_thread::get_id();
    loop.dispatcher->onMain([&] { reporter = std::this_thread::get_id(); });
  });
  loop.runOnce();
  EXPECT_NE(worker, std::this_thread::get_id());
  EXPECT_EQ(reporter, std::this_thread::get_id());
}

TEST(ThreadDispatcher, runsMainWorkInOrderAndNeverWithinTheCall) {
  Loop loop;
  std::string order;
  loop.dispatcher->onMain([&] {
    order += "1";
    loop.dispatcher->onMain([&] { order += "3"; });
  });
  loop.dispatcher->onMain([&] { order += "2"; });
  EXPECT_EQ(order, "");
  loop.runOnce();
  EXPECT_EQ(order, "12");
  loop.runOnce();
  EXPECT_EQ(order, "123");
}

TEST(ThreadDispatcher, waitsForRunningWorkAndLetsGoOfTheRest) {
  Loop loop;
  std::promise<void> begun;
  std::promise<void> mayEnd;
  bool ended = false;
  const auto reported = std::make_shared<bool>(false);
  loop.dispatcher->inBackground([&] {
    begun.set_value();
    mayEnd.get_future().wait();
    loop.dispatcher->onMain([reported] { *reported = true; });
    ended = true;
  });
  loop.dispatcher->inBackground([reported] {});
  begun.get_future().wait();
  std::thread releasing([&] { mayEnd.set_value(); });
  loop.dispatcher.reset();
  releasing.join();
  EXPECT_TRUE(ended);
  EXPECT_FALSE(*reported);
  EXPECT_EQ(reported.use_count(), 1);
}

}  // namespace
}  // namespace ferrin::app
