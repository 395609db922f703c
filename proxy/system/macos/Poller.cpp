#include "proxy/system/Poller.h"

#include <fcntl.h>
#include <sys/event.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace ferrin::proxy {
namespace {

struct kevent entry(int descriptor, int filter, int flags, void* data) {
  struct kevent made {};
  EV_SET(&made, static_cast<uintptr_t>(descriptor), static_cast<int16_t>(filter),
         static_cast<uint16_t>(flags), 0, 0, data);
  return made;
}

void submit(int queue, const struct kevent& entry) {
  if (kevent(queue, &entry, 1, nullptr, 0, nullptr) == 0) return;
  throw std::system_error(errno, std::generic_category(), "kevent");
}

Readiness readinessOf(const struct kevent& event) {
  const bool ended = (event.flags & EV_EOF) != 0;
  const bool broken = ended && event.fflags != 0;
  Readiness readiness;
  readiness.handler = static_cast<EventHandler*>(event.udata);
  readiness.hungUp = broken || (ended && event.filter == EVFILT_READ);
  readiness.readable = readiness.hungUp || event.filter == EVFILT_READ;
  readiness.writable = broken || event.filter == EVFILT_WRITE;
  return readiness;
}

/// kevent(2) takes a limit of at least a day.
timespec timeUntil(Clock::time_point end) {
  const auto wait =
      std::clamp<Clock::duration>(end - Clock::now(), Clock::duration(0), std::chrono::hours(24));
  timespec limit{};
  limit.tv_sec = wait / std::chrono::seconds(1);
  limit.tv_nsec = wait % std::chrono::seconds(1) / std::chrono::nanoseconds(1);
  return limit;
}

}  // namespace

Poller::Poller() : queue(kqueue()) {
  if (!queue.valid()) throw std::system_error(errno, std::generic_category(), "kqueue");
  fcntl(queue.get(), F_SETFD, FD_CLOEXEC);
  submit(queue.get(), entry(0, EVFILT_USER, EV_ADD | EV_CLEAR, nullptr));
}

void Poller::add(int descriptor, EventHandler& handler, Interest interest) {
  submit(queue.get(), entry(descriptor, EVFILT_READ, EV_ADD | EV_CLEAR, &handler));
  if (interest == Interest::both)
    submit(queue.get(), entry(descriptor, EVFILT_WRITE, EV_ADD | EV_CLEAR, &handler));
}

std::span<Readiness> Poller::wait(std::span<Readiness, maxReports> into,
                                  std::optional<Clock::time_point> end) noexcept {
  // Not on the stack, where the build would fill it with zeros each time.
  thread_local std::array<struct kevent, maxReports> events;
  timespec limit{};
  if (end && *end != atOnce) limit = timeUntil(*end);
  const int count = kevent(queue.get(), nullptr, 0, events.data(), maxReports, end ? &limit : nullptr);
  std::size_t found = 0;
  for (int index = 0; index < count; ++index) {
    const struct kevent& event = events[static_cast<std::size_t>(index)];
    if (event.udata != nullptr) into[found++] = readinessOf(event);
  }
  return into.first(found);
}

void Poller::wake() noexcept {
  struct kevent trigger {};
  EV_SET(&trigger, 0, EVFILT_USER, 0, NOTE_TRIGGER, 0, nullptr);
  kevent(queue.get(), &trigger, 1, nullptr, 0, nullptr);
}

}  // namespace ferrin::proxy
