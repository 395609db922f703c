#pragma once
// A connected TCP socket as the relay uses it: coroutines wait until it is ready, and reads and writes are
// plain non-blocking calls into memory that is borrowed only while there are bytes to move. So a waiting
// stream costs its descriptor and nothing else. The socket remembers what the poller has reported, and makes
// no system call to learn that nothing has arrived.

#include <sys/uio.h>

#include <coroutine>
#include <functional>
#include <span>

#include "proxy/loop/EventLoop.h"
#include "proxy/system/FileDescriptor.h"

namespace ferrin::proxy {

/// Why a wait ended.
enum class Wake { ready, interrupted };

/// Everything is called on the loop's thread.
class Socket final : private EventHandler, private DeferredCall {
 public:
  /// Takes over a connected, non-blocking socket and switches Nagle's algorithm off. Throws
  /// std::system_error when the loop can't watch it; the descriptor is closed then.
  Socket(EventLoop& loop, FileDescriptor connected);
  /// Waits that are still under way never end: their coroutines are not resumed.
  ~Socket() override;

  int descriptor() const { return socket.get(); }

  /// recv(2). Fails with EAGAIN, without a system call, while the socket is known to be drained.
  ssize_t receive(std::span<char> into);
  /// sendmsg(2).
  ssize_t transmit(std::span<iovec> pieces);

  /// Base of what waits for this socket. Destroying it ends the wait.
  class Waiter {
   public:
    Waiter() = default;
    Waiter(const Waiter&) = delete;
    Waiter& operator=(const Waiter&) = delete;
    /// The wait has ended; called once per wait. May destroy the socket and this object.
    virtual void woken(Wake why) = 0;

   protected:
    virtual ~Waiter() {
      if (place != nullptr) *place = nullptr;
    }

   private:
    friend class Socket;
    Waiter** place = nullptr;  ///< what points here while this waits
  };
  /// Wakes `waiter` when receive() is worth a try, the end of the stream and errors included. With
  /// `afterOthers`, at the end of this turn, when the other sockets have had theirs. One waiter at a time.
  void awaitReadable(Waiter& waiter, bool afterOthers);

  class Wait;
  /// Waits until receive() is worth a try. One waiter at a time.
  Wait readable();
  /// Waits until transmit() is worth a try. One waiter at a time.
  Wait writable();

  /// Calls `active` whenever something arrives while no coroutine waits for it, bytes or the end of the
  /// stream; at the end of this turn if something has arrived already. `active` must not throw, and may
  /// destroy the socket.
  void watchActivity(std::function<void()> active);
  void unwatchActivity() { activityWatcher = nullptr; }
  /// Whether the peer is known to send no more, even where bytes of it are still unread.
  bool hungUp() const { return ended; }
  /// Whether something is known to be there for receive().
  bool hasUnread() const { return read.ready; }
  /// Whether something may have been there for receive() by now, reported or not.
  bool mayHaveUnread() const { return read.ready || loop.mayBeOutOfDate(); }
  /// Makes receive() ask the system even if the socket is known to be drained.
  void assumeReadable() { read.ready = true; }

  /// Ends all waits that are under way, with Wake::interrupted: at the end of this turn, or of the next one
  /// when called from a deferred call; of two waits the second a turn later. Has no effect on waits that
  /// begin later: whoever is to be ended this way checks for it before each wait (ExchangeState::ended).
  void interrupt();

  /// Gives the descriptor away, on which no wait is under way. This object must live until another handler
  /// watches the descriptor, and is of no other use.
  FileDescriptor release() { return std::move(socket); }

  /// Sends the end of the stream after what was written; reading goes on.
  void shutdownSending();
  /// Closes the socket so that the peer sees a reset instead of an end of stream.
  void reset();

 private:
  struct Direction {
    Waiter* waiter = nullptr;
    bool ready = false;         ///< as far as the poller has reported
    bool yielding = false;      ///< to be woken at the end of the turn
    bool interrupting = false;  ///< to be woken at the end of the turn, as interrupted
    void await(Waiter& who);
    void wake();
  };

  void recordReadiness(const Readiness& readiness) noexcept override;
  void handleReadable() noexcept override;
  void handleWritable() noexcept override;
  void run() noexcept override;

  FileDescriptor socket;
  Direction read;
  Direction write;
  std::function<void()> activityWatcher;
  int sendError = 0;      ///< why the connection broke, where a send was the first to learn of it
  bool activity = false;  ///< something arrived that the watcher has not been called for
  bool ended = false;
};

class Socket::Wait final : private Waiter {
 public:
  explicit Wait(Direction& which) : direction(which) {}
  bool await_ready() const noexcept { return direction.ready; }
  void await_suspend(std::coroutine_handle<> waiting) {
    coroutine = waiting;
    direction.await(*this);
  }
  Wake await_resume() const noexcept { return result; }

 private:
  void woken(Wake why) override {
    result = why;
    coroutine.resume();
  }

  Direction& direction;
  std::coroutine_handle<> coroutine;
  Wake result = Wake::ready;
};

inline Socket::Wait Socket::readable() { return Wait(read); }
inline Socket::Wait Socket::writable() { return Wait(write); }

}  // namespace ferrin::proxy
