#include "proxy/loop/EventLoop.h"

#include <algorithm>
#include <utility>

namespace ferrin::proxy {

Watched::~Watched() { loop.forget(*this); }

void EventLoop::run() {
  while (!stopped) turn(std::nullopt);
}

void EventLoop::stop() {
  stopped = true;
  poller.wake();
}

void EventLoop::turn(std::optional<std::chrono::milliseconds> limit) {
  if (const auto due = limits.untilNext()) limit = limit ? std::min(*limit, *due) : *due;
  if (!jobs.empty()) limit = std::chrono::milliseconds(0);
  const std::span<Change> changes = poller.wait(buffer, limit);
  behind = changes.size() + 1 >= buffer.size();  // one place may have gone to wake()
  limits.advance();
  dispatch(changes);
  runPosted();
  limits.expireDue();
  runJobs();
}

/// No change that is still to be told reaches `watched` after this.
void EventLoop::forget(const Watched& watched) {
  for (Change& change : dispatching) {
    if (change.watched == &watched) change.watched = nullptr;
  }
}

void EventLoop::dispatch(std::span<Change> changes) {
  for (const Change& change : changes) change.watched->noted(change);
  dispatching = changes;
  for (const Change& change : changes) {
    if (change.watched != nullptr) change.watched->goOnReading();
    if (change.watched != nullptr) change.watched->goOnWriting();
  }
  dispatching = {};
}

void EventLoop::soon(Job& job) {
  if (!job.is_linked()) jobs.push_back(job);
}

/// What they ask for in their turn waits for the next one.
void EventLoop::runJobs() {
  Jobs now;
  now.swap(jobs);
  while (!now.empty()) {
    Job& job = now.front();
    now.pop_front();
    job.run();
  }
}

void EventLoop::post(std::function<void()> task) {
  const std::lock_guard lock(mutex);
  posted.push_back(std::move(task));
  anyPosted = true;
  poller.wake();
}

void EventLoop::runPosted() {
  if (!anyPosted) return;
  std::vector<std::function<void()>> now;
  {
    const std::lock_guard lock(mutex);
    now.swap(posted);
    anyPosted = false;
  }
  for (const auto& task : now) task();
}

}  // namespace ferrin::proxy
