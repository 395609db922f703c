#include "bench/load/Forwarder.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

#include "bench/load/Http.h"
#include "bench/load/Tls.h"

namespace ferrin::bench {
namespace {

/// One side of a pair of connections.
struct End {
  Wire wire;
  End* other = nullptr;  ///< null once the pair has ended
};

void watch(int epoll, int socket, std::uint32_t how, void* end) {
  epoll_event event{};
  event.events = EPOLLIN | how;
  event.data.ptr = end;
  epoll_ctl(epoll, EPOLL_CTL_ADD, socket, &event);
}

class Pairs {
 public:
  Pairs(int withEpoll, std::uint16_t port, const std::string& rootsFile)
      : epoll(withEpoll), connect(port), tls(clientContext(rootsFile)) {}

  void acceptAll(int listener) {
    for (int client = 0; (client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
      try {
        join(client);
      } catch (const std::exception&) {
        close(client);
      }
    }
  }

  void pass(End& from) {
    if (from.other == nullptr || moved(from)) return;
    End* const other = std::exchange(from.other, nullptr);
    other->other = nullptr;
    close(from.wire.socket());
    close(other->wire.socket());
  }

  /// Not within a batch of events, which may name one that has ended.
  void dropEnded() {
    std::erase_if(ends, [](const std::unique_ptr<End>& end) { return end->other == nullptr; });
  }

 private:
  void join(int client) {
    auto near = std::make_unique<End>(End{Wire::accepted(client, nullptr)});
    auto far = std::make_unique<End>(End{Wire::connected(connectTo(connect), tls.get())});
    near->other = far.get();
    far->other = near.get();
    watch(epoll, client, EPOLLRDHUP | EPOLLET, near.get());
    // What the library has read ahead is taken at once; whether the socket has more, only the system knows.
    watch(epoll, far->wire.socket(), tls ? EPOLLRDHUP : EPOLLRDHUP | EPOLLET, far.get());
    ends.push_back(std::move(near));
    ends.push_back(std::move(far));
  }

  /// False when the connection has ended.
  static bool moved(End& from) try {
    static std::array<char, 65536> block;
    ssize_t count = 0;
    do {
      count = from.wire.receive(block.data(), block.size());
      if (count > 0) from.other->wire.sendAll({block.data(), static_cast<std::size_t>(count)});
    } while (count == static_cast<ssize_t>(block.size()) || (count > 0 && from.wire.pending()));
    return count >= 0;
  } catch (const std::exception&) {
    return false;
  }

  int epoll;
  std::uint16_t connect;
  TlsContext tls;
  std::vector<std::unique_ptr<End>> ends;
};

}  // namespace

void forward(std::uint16_t listen, std::uint16_t connect, const std::string& rootsFile) {
  const int epoll = epoll_create1(EPOLL_CLOEXEC);
  const int listener = listenOn(listen);
  watch(epoll, listener, EPOLLET, nullptr);
  Pairs pairs(epoll, connect, rootsFile);
  std::array<epoll_event, 256> events{};
  for (;;) {
    const int count = epoll_wait(epoll, events.data(), events.size(), -1);
    bool accepting = false;
    for (int index = 0; index < count; ++index) {
      auto* const end = static_cast<End*>(events.at(static_cast<std::size_t>(index)).data.ptr);
      if (end != nullptr) pairs.pass(*end);
      accepting = accepting || end == nullptr;
    }
    if (!accepting) continue;
    pairs.dropEnded();
    pairs.acceptAll(listener);
  }
}

}  // namespace ferrin::bench
