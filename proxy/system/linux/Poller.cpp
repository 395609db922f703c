#include "proxy/system/Poller.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace ferrin::proxy {
namespace {

constexpr std::chrono::seconds mostEarly{1};

void registerWith(const FileDescriptor& queue, int descriptor, epoll_event event) {
  if (epoll_ctl(queue.get(), EPOLL_CTL_ADD, descriptor, &event) == 0) return;
  if (errno == EEXIST && epoll_ctl(queue.get(), EPOLL_CTL_MOD, descriptor, &event) == 0) return;
  throw std::system_error(errno, std::generic_category(), "epoll_ctl");
}

Readiness readinessOf(const epoll_event& event) {
  const bool broken = (event.events & (EPOLLERR | EPOLLHUP)) != 0;
  Readiness readiness;
  readiness.handler = static_cast<EventHandler*>(event.data.ptr);
  readiness.hungUp = broken || (event.events & EPOLLRDHUP) != 0;
  readiness.readable = readiness.hungUp || (event.events & EPOLLIN) != 0;
  readiness.writable = broken || (event.events & EPOLLOUT) != 0;
  return readiness;
}

}  // namespace

Poller::Poller()
    : queue(epoll_create1(EPOLL_CLOEXEC)),
      waker(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      alarm(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK)) {
  if (!queue.valid() || !waker.valid() || !alarm.valid())
    throw std::system_error(errno, std::generic_category(), "epoll");
  epoll_event event{};
  event.events = EPOLLIN | EPOLLET;
  registerWith(queue, waker.get(), event);
  event.data.ptr = &alarm;
  registerWith(queue, alarm.get(), event);
}

void Poller::add(int descriptor, EventHandler& handler, Interest interest) {
  epoll_event event{};
  event.events = EPOLLIN | EPOLLRDHUP | EPOLLET;
  if (interest == Interest::both) event.events |= EPOLLOUT;
  event.data.ptr = &handler;
  registerWith(queue, descriptor, event);
}

/// With a limit given to epoll_wait(2), the kernel would set and cancel a timer for each wait. An alarm that
/// is left standing costs nothing. The limits of a busy relay move later all the time, so it may go off a
/// little early; but not much, as an idle one is to sleep.
void Poller::setAlarm(std::optional<Clock::time_point> end) noexcept {
  const bool serves = end ? alarmTime && *alarmTime <= *end && *end - *alarmTime <= mostEarly : !alarmTime;
  if (serves) return;
  itimerspec setting{};
  if (end) {
    const auto wait = std::max(*end - Clock::now(), Clock::duration(1));  // zero would mean never
    setting.it_value.tv_sec = wait / std::chrono::seconds(1);
    setting.it_value.tv_nsec = wait % std::chrono::seconds(1) / std::chrono::nanoseconds(1);
  }
  timerfd_settime(alarm.get(), 0, &setting, nullptr);
  alarmTime = end;
}

std::span<Readiness> Poller::wait(std::span<Readiness, maxReports> into,
                                  std::optional<Clock::time_point> end) noexcept {
  // Not on the stack, where the build would fill it with zeros each time.
  thread_local std::array<epoll_event, maxReports> events;
  if (end != atOnce) setAlarm(end);
  const int count = epoll_wait(queue.get(), events.data(), maxReports, end == atOnce ? 0 : -1);
  std::size_t found = 0;
  for (int index = 0; index < count; ++index) {
    const epoll_event& event = events[static_cast<std::size_t>(index)];
    if (event.data.ptr == &alarm)
      alarmTime.reset();
    else if (event.data.ptr != nullptr)
      into[found++] = readinessOf(event);
  }
  return into.first(found);
}

void Poller::wake() noexcept {
  const std::uint64_t one = 1;
  const ssize_t ignored =
      write(waker.get(), &one, sizeof one);  // a full counter means that a wake is pending
  static_cast<void>(ignored);
}

}  // namespace ferrin::proxy
