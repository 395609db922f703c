#include "bench/load/Forwarder.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "bench/load/Http.h"

namespace ferrin::bench {
namespace {

/// The other end of each connection, by descriptor.
using Partners = std::vector<int>;

void watch(int epoll, int socket) {
  epoll_event event{};
  event.events = EPOLLIN | EPOLLRDHUP | EPOLLET;
  event.data.fd = socket;
  epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event);
}

void join(int epoll, Partners& partners, int client, int provider) {
  const auto largest = static_cast<std::size_t>(std::max(client, provider));
  if (partners.size() <= largest) partners.resize(largest + 1, -1);
  partners[static_cast<std::size_t>(client)] = provider;
  partners[static_cast<std::size_t>(provider)] = client;
  watch(epoll, client);
  watch(epoll, provider);
}

void acceptAll(int epoll, int listener, Partners& partners, std::uint16_t connect) {
  for (int client = 0; (client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
    try {
      join(epoll, partners, client, connectTo(connect));
    } catch (const std::system_error&) {
      close(client);
    }
  }
}

/// False when the connection has ended.
bool pass(int from, int to) try {
  static std::array<char, 65536> block;
  ssize_t count = 0;
  do {
    count = recv(from, block.data(), block.size(), 0);
    if (count < 0) return errno == EAGAIN;
    if (count > 0) sendAll(to, {block.data(), static_cast<std::size_t>(count)});
  } while (count == static_cast<ssize_t>(block.size()));
  return count > 0;
} catch (const std::system_error&) {
  return false;
}

}  // namespace

void forward(std::uint16_t listen, std::uint16_t connect) {
  const int epoll = epoll_create1(EPOLL_CLOEXEC);
  const int listener = listenOn(listen);
  watch(epoll, listener);
  Partners partners;
  std::array<epoll_event, 256> events{};
  for (;;) {
    const int count = epoll_wait(epoll, events.data(), events.size(), -1);
    for (int index = 0; index < count; ++index) {
      const int socket = events.at(static_cast<std::size_t>(index)).data.fd;
      if (socket == listener) {
        acceptAll(epoll, listener, partners, connect);
        continue;
      }
      const int partner = std::exchange(partners.at(static_cast<std::size_t>(socket)), -1);
      if (partner < 0) continue;
      if (pass(socket, partner)) {
        partners.at(static_cast<std::size_t>(socket)) = partner;
      } else {
        partners.at(static_cast<std::size_t>(partner)) = -1;
        close(socket);
        close(partner);
      }
    }
  }
}

}  // namespace ferrin::bench
