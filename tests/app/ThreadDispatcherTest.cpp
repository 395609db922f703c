#include "app/ThreadDispatcher.h"

#include <gtest/gtest.h>

#include <optional>
#include <semaphore>
#include <string>
#include <thread>
#include <utility>

namespace ferrin::app {
namespace {

TEST(ThreadDispatcher, worksBesideTheMainThreadReportsOnItInOrderAndWaitsForRunningWork) {
  std::counting_semaphore<> woken{0}, begun{0}, mayEnd{0};
  std::optional<ThreadDispatcher> dispatcher(std::in_place, [&woken] { woken.release(); });
  std::string order;
  dispatcher->inBackground([&] {
    dispatcher->onMain([&, worker = std::this_thread::get_id()] {
      order += std::this_thread::get_id() == worker ? "not on main" : "1";
      dispatcher->onMain([&order] { order += "2"; });
      dispatcher->onMain([&order] { order += "3"; });
    });
  });
  for (const char* expected : {"1", "123"}) {
    ASSERT_TRUE(woken.try_acquire_for(std::chrono::seconds(30)));
    dispatcher->runMainQueue();
    EXPECT_EQ(order, expected);
  }

  for (const char* text : {"4", "5"})
    dispatcher->inBackground([&, text] { dispatcher->onMain([&order, text] { order += text; }); });
  dispatcher->finish();
  EXPECT_EQ(std::exchange(order, ""), "12345");

  dispatcher->inBackground([&] {
    begun.release();
    mayEnd.acquire();
    dispatcher->onMain([&order] { order += "reported too late"; });
    order += "worked";
  });
  begun.acquire();
  mayEnd.release();
  dispatcher.reset();
  EXPECT_EQ(order, "worked");
}

}  // namespace
}  // namespace ferrin::app
