#include "proxy/loop/Timers.h"

#include <algorithm>

namespace ferrin::proxy {

using std::chrono::milliseconds;

void Timer::start(TimerQueue& into) {
  unlink();
  queue = &into;
  due = into.service.now() + into.duration;
  into.entries.push_back(*this);
}

void Timer::restart() {
  if (!is_linked()) return;
  due = queue->service.now() + queue->duration;
  queue->entries.splice(queue->entries.end(), queue->entries, TimerService::Entries::s_iterator_to(*this));
}

bool Timer::isOverdue() const { return is_linked() && due <= queue->service.now(); }

TimerQueue::TimerQueue(TimerService& owner, milliseconds timerDuration)
    : service(owner), duration(timerDuration) {
  owner.queues.push_back(this);
}

std::optional<Clock::time_point> TimerService::nextDue() {
  next = Clock::time_point::max();
  for (const TimerQueue* queue : queues) {
    if (!queue->entries.empty()) next = std::min(next, queue->entries.front().due);
  }
  if (next == Clock::time_point::max()) return std::nullopt;
  return next;
}

void TimerService::expireDue(Clock::time_point time) {
  if (time < next) return;
  for (TimerQueue* queue : queues) {
    while (!queue->entries.empty() && queue->entries.front().due <= time) {
      Timer& timer = queue->entries.front();
      timer.unlink();
      const auto callback = timer.expired;  // a copy: the callback may destroy the timer
      callback();
    }
  }
}

}  // namespace ferrin::proxy
