#include "bench/load/Http.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <system_error>

namespace ferrin::bench {
namespace {

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

int newSocket() {
  const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (made < 0) fail("socket");
  const int on = 1;
  setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  setsockopt(made, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  return made;
}

}  // namespace

std::uint64_t now() {
  return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() /
                                    std::chrono::nanoseconds(1));
}

int listenOn(std::uint16_t port) {
  const int made = newSocket();
  const sockaddr_in address = loopback(port);
  if (bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("bind");
  if (listen(made, SOMAXCONN) != 0) fail("listen");
  fcntl(made, F_SETFL, O_NONBLOCK);
  return made;
}

int connectTo(std::uint16_t port) {
  const int made = newSocket();
  const sockaddr_in address = loopback(port);
  if (connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("connect");
  fcntl(made, F_SETFL, O_NONBLOCK);
  return made;
}

void Input::consume(std::size_t count) {
  used += count;
  if (used == buffer.size()) {
    buffer.clear();
    used = 0;
  }
}

void sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      pollfd polled{socket, POLLOUT, 0};
      poll(&polled, 1, 1000);
    } else {
      fail("send");
    }
  }
}

}  // namespace ferrin::bench
