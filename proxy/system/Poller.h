#pragma once
// The system's way to wait for many descriptors at once: epoll(7) or kqueue(2). It reports changes, not
// states (it is "edge-triggered"): each descriptor is registered once, and waiting for it again costs no
// system call.

#include <cstddef>
#include <optional>
#include <span>

#include "proxy/system/Clock.h"
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
  /// The most that one wait reports.
  static constexpr std::size_t maxReports = 256;
  /// A wait that reports fewer has reported everything there was. The poller's own two, the waker and the
  /// alarm, may have taken places.
  static constexpr std::size_t fullReport = maxReports - 2;
  /// As the end of a wait: don't wait at all.
  static constexpr Clock::time_point atOnce = Clock::time_point::min();

  /// Throws std::system_error when the system has no descriptor left.
  Poller();

  /// Reports changes of `descriptor` to `handler` from now on, beginning with its state at this moment. A
  /// handler registered earlier for the same descriptor is replaced. Closing the descriptor ends the
  /// registration. Throws std::system_error; the descriptor is then not registered.
  void add(int descriptor, EventHandler& handler, Interest interest);

  /// Waits for changes, at most until `end`; without one until a change or wake(). Returns the changes found,
  /// at the front of `into`; none when interrupted by a signal. It may return early with none.
  std::span<Readiness> wait(std::span<Readiness, maxReports> into,
                            std::optional<Clock::time_point> end) noexcept;

  /// Ends a wait that is under way, or the next one. From any thread, and from a signal handler.
  void wake() noexcept;

 private:
  void setAlarm(std::optional<Clock::time_point> end) noexcept;

  FileDescriptor queue;
  FileDescriptor waker;                        ///< used where the queue itself can't be woken
  FileDescriptor alarm;                        ///< used where a limit of each wait would cost more
  std::optional<Clock::time_point> alarmTime;  ///< when the alarm goes off, if it is set
};

}  // namespace ferrin::proxy
