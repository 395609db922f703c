#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include "proxy/system/Poller.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t changesAtOnce = 256;

void registerWith(int queue, int descriptor, epoll_event event) {
  if (epoll_ctl(queue, EPOLL_CTL_ADD, descriptor, &event) == 0) return;
  if (errno == EEXIST && epoll_ctl(queue, EPOLL_CTL_MOD, descriptor, &event) == 0) return;
  throw std::system_error(errno, std::generic_category(), "epoll_ctl");
}

Change changeOf(const epoll_event& event) {
  const bool broken = (event.events & (EPOLLERR | EPOLLHUP)) != 0;
  Change change;
  change.watched = static_cast<Watched*>(event.data.ptr);
  change.hungUp = broken || (event.events & EPOLLRDHUP) != 0;
  change.readable = change.hungUp || (event.events & EPOLLIN) != 0;
  change.writable = broken || (event.events & EPOLLOUT) != 0;
  return change;
}

}  // namespace

Poller::Poller() : queue(epoll_create1(EPOLL_CLOEXEC)), waker(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!queue || !waker) throw std::system_error(errno, std::generic_category(), "epoll");
  epoll_event event{};
  event.events = EPOLLIN | EPOLLET;
  registerWith(queue.get(), waker.get(), event);
}

void Poller::add(int descriptor, Watched& watched) {
  epoll_event event{};
  event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
  event.data.ptr = &watched;
  registerWith(queue.get(), descriptor, event);
}

std::span<Change> Poller::wait(std::span<Change> into, std::optional<std::chrono::milliseconds> limit) {
  std::array<epoll_event, changesAtOnce> events;
  const int timeout = limit ? static_cast<int>(limit->count()) : -1;
  const int count =
      epoll_wait(queue.get(), events.data(), static_cast<int>(std::min(events.size(), into.size())), timeout);
  std::size_t found = 0;
  for (int index = 0; index < count; ++index) {
    const epoll_event& event = events[static_cast<std::size_t>(index)];
    if (event.data.ptr != nullptr) into[found++] = changeOf(event);
  }
  return into.first(found);
}

void Poller::wake() noexcept {
  const std::uint64_t one = 1;
  const ssize_t ignored = write(waker.get(), &one, sizeof one);  // full means that a wake is pending
  static_cast<void>(ignored);
}

}  // namespace ferrin::proxy
