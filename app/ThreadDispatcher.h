#pragma once
// The dispatcher of the running application: one worker thread, and a main queue that the event loop runs.

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "app/Dispatcher.h"

namespace ferrin::app {

/// Made and destroyed on the main thread: after all that submits work, before all that the work uses.
/// Background work runs in the order of submission, one at a time.
class ThreadDispatcher : public Dispatcher {
 public:
  /// `wakeMain` is called on any thread when the main queue has become non-empty. It makes the event loop
  /// call runMainQueue soon, and must not call it itself.
  explicit ThreadDispatcher(std::function<void()> wakeMain);
  ThreadDispatcher(const ThreadDispatcher&) = delete;
  ThreadDispatcher& operator=(const ThreadDispatcher&) = delete;
  /// Waits for the background work that runs. Discards work that has not started, and the main queue.
  ~ThreadDispatcher() override;

  void inBackground(Work work) override;
  void onMain(Work work) override;

  /// To be called on the main thread: runs the work that is queued for it. Work that is queued meanwhile
  /// waits for the next call.
  void runMainQueue();

  /// To be called on the main thread: returns when all work has run that was submitted until then, and all
  /// that this work submitted.
  void finish();

 private:
  void work();

  const std::function<void()> wake;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Work> background;  // guarded by mutex, as are the next three
  std::deque<Work> main;
  bool working = false;
  bool stopping = false;
  std::thread worker;
};

}  // namespace ferrin::app
