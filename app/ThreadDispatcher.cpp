#include "app/ThreadDispatcher.h"

#include <utility>

namespace ferrin::app {

ThreadDispatcher::ThreadDispatcher(std::function<void()> wakeMain)
    : wake(std::move(wakeMain)), worker([this] { work(); }) {}

ThreadDispatcher::~ThreadDispatcher() {
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  changed.notify_all();
  worker.join();
}

void ThreadDispatcher::inBackground(Work work) {
  {
    const std::lock_guard lock(mutex);
    background.push_back(std::move(work));
  }
  changed.notify_all();
}

void ThreadDispatcher::onMain(Work work) {
  bool wasEmpty = false;
  {
    const std::lock_guard lock(mutex);
    wasEmpty = main.empty();
    main.push_back(std::move(work));
  }
  if (wasEmpty) wake();  // outside the lock: it may run code of the toolkit
}

void ThreadDispatcher::runMainQueue() {
  // Taken out first: work that queues more work must not keep the event loop from other events.
  std::deque<Work> waiting;
  {
    const std::lock_guard lock(mutex);
    waiting.swap(main);
  }
  for (const Work& next : waiting) next();
}

void ThreadDispatcher::finish() {
  for (;;) {
    {
      std::unique_lock lock(mutex);
      changed.wait(lock, [this] { return !working && background.empty(); });
      if (main.empty()) return;
    }
    runMainQueue();
  }
}

void ThreadDispatcher::work() {
  for (;;) {
    Work next;
    {
      std::unique_lock lock(mutex);
      working = false;
      changed.notify_all();
      changed.wait(lock, [this] { return stopping || !background.empty(); });
      if (stopping) return;
      next = std::move(background.front());
      background.pop_front();
      working = true;
    }
    next();
  }
}

}  // namespace ferrin::app
