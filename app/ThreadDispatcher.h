#pragma once
// The dispatcher of the running application: one worker thread, and a main queue that its event loop empties.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "app/Dispatcher.h"

namespace ferrin::app {

class ThreadDispatcher : public Dispatcher {
 public:
  /// `wakeMain` is called, on any thread, when the main queue is no longer empty; it has the event loop call
  /// runMainQueue soon.
  explicit ThreadDispatcher(std::function<void()> wakeMain);
  ThreadDispatcher(const ThreadDispatcher&) = delete;
  ThreadDispatcher& operator=(const ThreadDispatcher&) = delete;
  /// Waits for the background work that is under way. What has not begun is dropped, as is all that still
  /// waits for the main thread.
  ~ThreadDispatcher() override;

  void inBackground(Work work) override;
  void onMain(Work work) override;

  /// Runs what has been waiting for the main thread, and is called there. What is submitted meanwhile is left
  /// for the next time.
  void runMainQueue();

 private:
  void work();

  const std::function<void()> wake;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Work> background;  // guarded by mutex, as are the next two
  std::deque<Work> main;
  bool stopping = false;
  std::thread worker;
};

}  // namespace ferrin::app
