#pragma once
// The event loop: one thread that waits for descriptors, timers and calls posted by other threads, and runs
// their handlers. Each turn first records every report of the poller and only then runs handlers, so that a
// handler sees all that was known when the turn began: an end of stream that follows the bytes, for example.

#include <array>
#include <atomic>
#include <boost/intrusive/list.hpp>
#include <functional>
#include <mutex>
#include <vector>

#include "proxy/loop/Timers.h"
#include "proxy/system/Poller.h"

namespace ferrin::proxy {

class EventLoop;

/// A call to be made once, later, by the loop. Destroying it cancels the call.
class DeferredCall
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  DeferredCall() = default;
  DeferredCall(const DeferredCall&) = delete;
  DeferredCall& operator=(const DeferredCall&) = delete;
  virtual ~DeferredCall() = default;

 private:
  friend class EventLoop;
  /// May destroy this object.
  virtual void run() noexcept = 0;
};

/// The owner of a descriptor that the loop watches. Handlers may destroy any EventHandler, this one included;
/// no handler of a destroyed object is called. Handlers must not throw: an exception would end the process,
/// so each handler turns it into the end of what it serves.
class EventHandler {
 public:
  explicit EventHandler(EventLoop& home) : loop(home) {}
  EventHandler(const EventHandler&) = delete;
  EventHandler& operator=(const EventHandler&) = delete;
  virtual ~EventHandler();

 protected:
  EventLoop& loop;

 private:
  friend class EventLoop;
  /// Records the report. Must not call back, nor destroy anything.
  virtual void recordReadiness(const Readiness& readiness) noexcept = 0;
  /// Acts on what was recorded, once all reports of this turn have been; reading first.
  virtual void handleReadable() noexcept = 0;
  virtual void handleWritable() noexcept = 0;
};

/// Everything is called on the loop's thread, except post() and stop().
class EventLoop {
 public:
  /// Runs turns until stop().
  void run();
  /// Waits for something to happen, at most `timeout`, and runs its handlers. Returns whether the poller
  /// reported anything; it may return early without.
  bool turn(std::optional<std::chrono::milliseconds> timeout);
  /// Makes run() return after the current turn. From any thread.
  void stop() noexcept;

  /// Whoever destroys the handler closes the descriptor first, or has another handler watch it: until then
  /// reports go to this one. Throws std::system_error when the system can't watch one more descriptor.
  void watch(int descriptor, EventHandler& handler, Interest interest = Interest::both) {
    poller.add(descriptor, handler, interest);
  }
  /// Queues `call` for the end of this turn, or of the next one when called from a deferred call. Queuing it
  /// twice has no effect.
  void defer(DeferredCall& call) noexcept;
  /// Runs `task` in a later turn. From any thread. Throws std::bad_alloc.
  void post(std::function<void()> task);

  TimerService& timers() { return timerService; }

  /// Whether changes that happened before this turn may still be unreported, because the poller reported as
  /// many as fit.
  bool hasBacklog() const { return backlogTurns > 0; }
  /// Whether a socket's recorded state may be out of date: there is a backlog, or this turn has lasted so
  /// long that the process was probably stopped in its middle.
  bool mayBeOutOfDate() const { return hasBacklog() || timerService.turnHasStalled(); }

 private:
  friend class EventHandler;
  using Calls = boost::intrusive::list<DeferredCall, boost::intrusive::constant_time_size<false>>;

  std::optional<Clock::time_point> endOfWait(std::optional<std::chrono::milliseconds> timeout);
  void expireTimers(Clock::time_point previousTurn);
  void forget(const EventHandler& handler) noexcept;
  void dispatch(std::span<Readiness> reports);
  void runDeferred();
  void runPosted();

  Poller poller;
  TimerService timerService;
  std::array<Readiness, Poller::maxReports> reports;
  std::span<Readiness> dispatching;
  unsigned backlogTurns = 0;  ///< turns in a row in which the poller reported as many as fit
  Calls deferred;
  std::mutex mutex;
  std::vector<std::function<void()>> posted;  // guarded by mutex
  std::atomic<bool> anyPosted = false;        ///< spares most turns the mutex
  std::atomic<bool> stopped = false;
};

}  // namespace ferrin::proxy
