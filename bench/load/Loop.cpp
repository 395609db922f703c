#include "bench/load/Loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "bench/load/Http.h"

namespace ferrin::bench {

Loop::Loop() : epoll(epoll_create1(EPOLL_CLOEXEC)) {}

Loop::~Loop() {
  for (const auto& entry : watched) close(entry.first);
  close(epoll);
}

void Loop::watch(int socket, std::function<void()> readable) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = socket;
  epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event);
  watched[socket] = std::move(readable);
}

void Loop::forget(int socket) {
  watched.erase(socket);
  close(socket);
}

void Loop::turn(std::uint64_t until) {
  std::array<epoll_event, 256> events{};
  const std::uint64_t time = now();
  const std::uint64_t left = until > time ? until - time : 0;
  const timespec wait{static_cast<time_t>(left / 1'000'000'000), static_cast<long>(left % 1'000'000'000)};
  const int count = epoll_pwait2(epoll, events.data(), events.size(), &wait, nullptr);
  for (int index = 0; index < count; ++index) {
    const auto entry = watched.find(events.at(static_cast<std::size_t>(index)).data.fd);
    if (entry == watched.end()) continue;
    const auto callback = entry->second;
    callback();
  }
}

}  // namespace ferrin::bench
