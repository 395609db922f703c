#pragma once
// A connected TCP socket as the relay uses it: coroutines wait for readiness, and the reads and writes
// themselves are plain non-blocking calls into memory that is borrowed only while there are bytes to move.
// That keeps a waiting stream at the cost of its descriptor. It remembers what is known to be readable, so
// that no system call is made to learn that nothing has come.

#include <sys/uio.h>

#include <coroutine>
#include <functional>
#include <span>

#include "proxy/loop/EventLoop.h"
#include "proxy/system/Descriptor.h"

namespace ferrin::proxy {

/// Why a wait ended.
enum class Wake { ready, interrupted };

class Socket final : private Watched, private Job {
 public:
  /// Takes over a connected, non-blocking socket and switches Nagle's algorithm off. Throws
  /// std::system_error.
  Socket(EventLoop& loop, Descriptor connected);
  /// No coroutine may be waiting on it.
  ~Socket() override = default;

  int descriptor() const { return socket.get(); }

  /// recv(2). Blocked, without asking the system, while nothing has come since a call that found less than it
  /// had room for.
  ssize_t receive(std::span<char> into);
  /// sendmsg(2).
  ssize_t transmit(std::span<iovec> pieces);

  /// One who is told when a wait ends.
  class Waiter {
   public:
    virtual void woken(Wake why) = 0;

   protected:
    ~Waiter() = default;
  };
  /// Has `waiter` told when receive() is worth a try, the end of the stream and errors included; with
  /// `afterOthers` at the end of this turn, when the other sockets have had theirs. One waiter at a time.
  void awaitReadable(Waiter& waiter, bool afterOthers);

  class Wait;
  /// Until receive() is worth a try. One waiter at a time.
  Wait readable();
  /// Until transmit() is worth a try. One waiter at a time.
  Wait writable();

  /// Calls `stirred` whenever something has come that nobody waits for, bytes or the end of the stream: soon,
  /// if that is so already.
  void watch(std::function<void()> stirred);
  void unwatch() { watcher = nullptr; }
  /// Whether the other side is known to send no more, even where bytes of it are still unread.
  bool hungUp() const { return ended; }
  /// Whether something is known to be there for receive().
  bool hasUnread() const { return read.ready; }
  /// Whether something may have been there for receive() when this turn of the event loop began.
  bool mayHaveUnread() const { return read.ready || loop.mayBeBehind(); }
  /// Has receive() ask the system whatever is known.
  void lookAgain() { read.ready = true; }

  /// Ends all waits that are under way, with Wake::interrupted, at the end of this turn of the event loop.
  void interrupt();

  /// Sends the end of the stream after what was written; reading goes on.
  void shutdownSending();
  /// Closes so that the other side sees a reset instead of an end of stream.
  void reset();

 private:
  struct Side {
    Waiter* waiter = nullptr;
    bool ready = false;         ///< as far as has been reported
    bool yielding = false;      ///< the waiter is to be woken at the end of the turn
    bool interrupting = false;  ///< likewise, as interrupted
    void wake();
  };

  void noted(const Change& change) override;
  void goOnReading() override;
  void goOnWriting() override;
  void run() override;

  Descriptor socket;
  Side read;
  Side write;
  std::function<void()> watcher;
  bool stirred = false;  ///< something came that the watcher has not been told of
  bool ended = false;
};

class Socket::Wait final : private Waiter {
 public:
  explicit Wait(Side& which) : side(which) {}
  bool await_ready() const noexcept { return side.ready; }
  void await_suspend(std::coroutine_handle<> waiting) {
    coroutine = waiting;
    side.waiter = this;
  }
  Wake await_resume() const noexcept { return result; }

 private:
  void woken(Wake why) override {
    result = why;
    coroutine.resume();
  }

  Side& side;
  std::coroutine_handle<> coroutine;
  Wake result = Wake::ready;
};

inline Socket::Wait Socket::readable() { return Wait(read); }
inline Socket::Wait Socket::writable() { return Wait(write); }

}  // namespace ferrin::proxy
