#include "proxy/loop/EventLoop.h"

#include <algorithm>
#include <utility>

namespace ferrin::proxy {
namespace {

/// After so many turns in a row with a full report, each of a few thousand descriptors has been reported, and
/// timers may expire although there is more to do.
constexpr unsigned longestBacklog = 16;

}  // namespace

EventHandler::~EventHandler() { loop.forget(*this); }

void EventLoop::run() {
  while (!stopped) turn(std::nullopt);
}

void EventLoop::stop() noexcept {
  stopped = true;
  poller.wake();
}

bool EventLoop::turn(std::optional<std::chrono::milliseconds> timeout) {
  const auto end = endOfWait(timeout);
  const auto before = timerService.now();
  const std::span<Readiness> found = poller.wait(reports, end);
  backlogTurns = found.size() >= Poller::fullReport ? backlogTurns + 1 : 0;
  timerService.beginTurn();
  dispatch(found);
  runPosted();
  expireTimers(before);
  runDeferred();
  return !found.empty();
}

std::optional<Clock::time_point> EventLoop::endOfWait(std::optional<std::chrono::milliseconds> timeout) {
  auto end = timerService.nextDue();
  if (timeout) end = std::min(end.value_or(Clock::time_point::max()), timerService.now() + *timeout);
  const bool waits = deferred.empty() && (!end || *end > timerService.now());
  return waits ? end : Poller::atOnce;
}

/// Only timers that were due when the previous turn began expire: what had arrived by then has been handled
/// by now, so that bytes count before any time limit, however long the process was stopped.
void EventLoop::expireTimers(Clock::time_point previousTurn) {
  if (backlogTurns == 0 || backlogTurns > longestBacklog) timerService.expireDue(previousTurn);
}

/// No report that is still to be handled reaches `handler` after this.
void EventLoop::forget(const EventHandler& handler) noexcept {
  for (Readiness& report : dispatching) {
    if (report.handler == &handler) report.handler = nullptr;
  }
}

void EventLoop::dispatch(std::span<Readiness> found) {
  for (const Readiness& report : found) report.handler->recordReadiness(report);
  dispatching = found;
  for (const Readiness& report : found) {
    if (report.handler != nullptr) report.handler->handleReadable();
    if (report.handler != nullptr) report.handler->handleWritable();
  }
  dispatching = {};
}

void EventLoop::defer(DeferredCall& call) noexcept {
  if (!call.is_linked()) deferred.push_back(call);
}

/// What these calls defer in turn waits for the next turn.
void EventLoop::runDeferred() {
  Calls now;
  now.swap(deferred);
  while (!now.empty()) {
    DeferredCall& call = now.front();
    now.pop_front();
    call.run();
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
