#include "app/ThreadDispatcher.h"

#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <semaphore>
#include <string>

namespace ferrin::app {
namespace {

struct Loop {
  std::counting_semaphore<> woken{0};
  std::optional<ThreadDispatcher> dispatcher{std::in_place, [this] { woken.release(); }};

  void runOnce() {
    ASSERT_TRUE(woken.try_acquire_for(std::chrono::seconds(30)));
    dispatcher->runMainQueue();
  }
};

TEST(ThreadDispatcher, worksBesideTheMainThreadAndReportsOnItInOrderAndLater) {
  Loop loop;
  std::thread::id worker;
  std::string order;
  loop.dispatcher->inBackground([&] {
    worker = std::this_thread::get_id();
    loop.dispatcher->onMain([&] {
      order += std::this_thread::get_id() == worker ? "not on main" : "1";
      loop.dispatcher->onMain([&] { order += "2"; });
      loop.dispatcher->onMain([&] { order += "3"; });
    });
  });
  loop.runOnce();
  EXPECT_NE(worker, std::this_thread::get_id());
  EXPECT_EQ(order, "1");
  loop.runOnce();
  EXPECT_EQ(order, "123");
}

TEST(ThreadDispatcher, waitsForRunningWorkAndLetsGoOfItsReport) {
  Loop loop;
  std::promise<void> begun, mayEnd;
  std::string done;
  loop.dispatcher->inBackground([&] {
    begun.set_value();
    mayEnd.get_future().wait();
    loop.dispatcher->onMain([&] { done += "reported"; });
    done += "worked";
  });
  begun.get_future().wait();
  std::thread releasing([&] { mayEnd.set_value(); });
  loop.dispatcher.reset();
  releasing.join();
  EXPECT_EQ(done, "worked");
}

}  // namespace
}  // namespace ferrin::app
