#pragma once
// The system's way to wait for many descriptors at once: epoll(7) or kqueue(2). It reports changes, not
// states (it is "edge-triggered"): each descriptor is registered once, and waiting for it again costs no
// system call.

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>

#include "proxy/system/FileDescriptor.h"

namespace ferrin::proxy {

/// The owner of a descriptor. Opaque here; the event loop defines it.
class EventHandler;

/// What has changed on a descriptor since its last report.
struct Readiness {
  EventHandler* handler = nullptr;
  bool readable = false;  ///< bytes, a connection to accept, the end of the stream or an error
  bool writable = false;
  bool hungUp = false;  ///< the peer sends no more, even where bytes of it are still unread
};

/// What a handler is to be told of. Not every descriptor can be watched for writing.
enum class Interest { reading, both };

class Poller {
 public:
  /// The most that one wait reports. One more may be lost to wake(), so a report of fewer than this minus one
  /// is everything there was.
  static constexpr std::size_t maxReports = 256;

  /// Throws std::system_error when the system has no descriptor left.
  Poller();

  /// Reports changes of `descriptor` to `handler` from now on, beginning with its state at this moment. A
  /// handler registered earlier for the same descriptor is replaced. Closing the descriptor ends the
  /// registration. Throws std::system_error; the descriptor is then not registered.
  void add(int descriptor, EventHandler& handler, Interest interest);

  /// Waits for changes, at most `timeout` (rounded to milliseconds, below 25 days); without one until a
  /// change or wake(). Returns the changes found, at the front of `into`; none when interrupted by a signal.
  std::span<Readiness> wait(std::span<Readiness, maxReports> into,
                            std::optional<std::chrono::milliseconds> timeout) noexcept;

  /// Ends a wait that is under way, or the next one. From any thread, and from a signal handler.
  void wake() noexcept;

 private:
  FileDescriptor queue;
  FileDescriptor waker;  ///< used where the queue itself can't be woken
};

}  // namespace ferrin::proxy
