#pragma once
// The system's way to wait for many sockets at once: epoll(7) or kqueue(2). It reports changes, not states
// ("edge-triggered"): each socket is registered once, and costs no further system call however often it is
// waited for.

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>

#include "proxy/system/Descriptor.h"

namespace ferrin::proxy {

class Watched;

/// What has changed on a descriptor since it was last reported.
struct Change {
  Watched* watched = nullptr;
  bool readable = false;  ///< bytes, a connection to accept, the end of the stream or an error
  bool writable = false;
  bool hungUp = false;  ///< the other side sends no more, even where bytes of it are still unread
};

class Poller {
 public:
  /// Throws std::system_error when the system has no descriptor left.
  Poller();

  /// Reports changes of `descriptor` to `watched` from now on, beginning with what holds already; to it alone
  /// if it was added before. Closing the descriptor ends that. Throws std::system_error.
  void add(int descriptor, Watched& watched);

  /// Waits for changes, at most `limit`, without one until there is one or wake() is called. The changes
  /// found, at the front of `into`.
  std::span<Change> wait(std::span<Change> into, std::optional<std::chrono::milliseconds> limit);

  /// Ends a wait that is under way, or the next one. From any thread.
  void wake() noexcept;

 private:
  Descriptor queue;
  Descriptor waker;  ///< where the queue can't be woken by itself
};

}  // namespace ferrin::proxy
