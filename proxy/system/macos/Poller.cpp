#include <fcntl.h>
#include <sys/event.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "proxy/system/Poller.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t changesAtOnce = 256;

struct kevent entry(int descriptor, int filter, int flags, void* data) {
  struct kevent made {};
  EV_SET(&made, static_cast<uintptr_t>(descriptor), static_cast<int16_t>(filter),
         static_cast<uint16_t>(flags), 0, 0, data);
  return made;
}

template <std::size_t count>
void submit(int queue, const std::array<struct kevent, count>& entries) {
  if (kevent(queue, entries.data(), static_cast<int>(count), nullptr, 0, nullptr) == 0) return;
  throw std::system_error(errno, std::generic_category(), "kevent");
}

Change changeOf(const struct kevent& event) {
  const bool ended = (event.flags & EV_EOF) != 0;
  const bool broken = ended && event.fflags != 0;
  Change change;
  change.watched = static_cast<Watched*>(event.udata);
  change.hungUp = broken || (ended && event.filter == EVFILT_READ);
  change.readable = change.hungUp || event.filter == EVFILT_READ;
  change.writable = broken || event.filter == EVFILT_WRITE;
  return change;
}

}  // namespace

Poller::Poller() : queue(kqueue()) {
  if (!queue) throw std::system_error(errno, std::generic_category(), "kqueue");
  fcntl(queue.get(), F_SETFD, FD_CLOEXEC);
  submit(queue.get(), std::array{entry(0, EVFILT_USER, EV_ADD | EV_CLEAR, nullptr)});
}

void Poller::add(int descriptor, Watched& watched) {
  submit(queue.get(), std::array{entry(descriptor, EVFILT_READ, EV_ADD | EV_CLEAR, &watched),
                                 entry(descriptor, EVFILT_WRITE, EV_ADD | EV_CLEAR, &watched)});
}

std::span<Change> Poller::wait(std::span<Change> into, std::optional<std::chrono::milliseconds> limit) {
  std::array<struct kevent, changesAtOnce> events;
  timespec timeout{};
  if (limit) timeout = {limit->count() / 1000, limit->count() % 1000 * 1'000'000};
  const int count =
      kevent(queue.get(), nullptr, 0, events.data(), static_cast<int>(std::min(events.size(), into.size())),
             limit ? &timeout : nullptr);
  std::size_t found = 0;
  for (int index = 0; index < count; ++index) {
    const struct kevent& event = events[static_cast<std::size_t>(index)];
    if (event.udata != nullptr) into[found++] = changeOf(event);
  }
  return into.first(found);
}

void Poller::wake() noexcept {
  struct kevent trigger {};
  EV_SET(&trigger, 0, EVFILT_USER, 0, NOTE_TRIGGER, 0, nullptr);
  kevent(queue.get(), &trigger, 1, nullptr, 0, nullptr);
}

}  // namespace ferrin::proxy
