#pragma once
// Time limits. All timers of one kind have the same duration, so each kind is a queue in order of expiry:
// starting, restarting and stopping a timer cost a few pointer writes and no system call.

#include <boost/intrusive/list.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include "proxy/system/Clock.h"

namespace ferrin::proxy {

class TimerQueue;

/// A one-shot timer. Calls back once, from the event loop, when its queue's duration has passed; stopped by
/// stop() and by its destruction. The callback must not throw; it may start the timer again or destroy it.
class Timer
    : public boost::intrusive::list_base_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>> {
 public:
  explicit Timer(std::function<void()> onExpiry) : expired(std::move(onExpiry)) {}
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// Starts it, or starts it over, in `queue`.
  void start(TimerQueue& queue);
  /// Starts it over if it is running.
  void restart();
  void stop() { unlink(); }
  bool running() const { return is_linked(); }
  /// Whether it is running and its time has passed, though it has not called back yet.
  bool isOverdue() const;

 private:
  friend class TimerService;
  std::function<void()> expired;
  TimerQueue* queue = nullptr;
  Clock::time_point due;
};

/// All timers of one event loop, and the time at which its current turn began.
class TimerService {
 public:
  /// The time when this turn's reports were in. Timers count from it.
  Clock::time_point now() const { return current; }
  void beginTurn() { current = Clock::now(); }
  /// Whether this turn has lasted so long already that the process was probably stopped in its middle.
  bool turnHasStalled() const { return Clock::now() - current > std::chrono::milliseconds(50); }

  /// When the next timer is due, which may be past; nothing when no timer runs.
  std::optional<Clock::time_point> nextDue();
  /// Calls back every timer that was due at `time`. Relies on the nextDue() of the same turn.
  void expireDue(Clock::time_point time);

 private:
  friend class Timer;
  friend class TimerQueue;
  using Entries = boost::intrusive::list<Timer, boost::intrusive::constant_time_size<false>>;

  Clock::time_point current = Clock::now();
  Clock::time_point next = Clock::time_point::min();  ///< no timer is due before this
  std::vector<TimerQueue*> queues;
};

/// All timers of one duration. The service keeps a pointer to it: no queue is destroyed while the event loop
/// still runs.
class TimerQueue {
 public:
  /// `service` outlives the queue, and the queue its timers. Throws std::bad_alloc.
  TimerQueue(TimerService& service, std::chrono::milliseconds timerDuration);
  TimerQueue(const TimerQueue&) = delete;
  TimerQueue& operator=(const TimerQueue&) = delete;

 private:
  friend class Timer;
  friend class TimerService;
  TimerService& service;
  std::chrono::milliseconds duration;
  TimerService::Entries entries;
};

}  // namespace ferrin::proxy
