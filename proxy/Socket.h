#pragma once
// A connected TCP socket as the relay uses it: coroutines wait for readiness, and the reads and writes
// themselves are plain non-blocking calls into memory that is borrowed only while there are bytes to move.
// That keeps a waiting stream at the cost of its descriptor. It remembers what is known to be readable, so
// that no system call is made to learn that nothing has come.

#include <sys/uio.h>

#include <coroutine>
#include <functional>
#include <span>

#include "proxy/Descriptor.h"
#include "proxy/EventLoop.h"

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

  class Wait;
  /// Until receive() is worth a try, the end of the stream and errors included. One waiter at a time.
  Wait readable();
  /// Until transmit() is worth a try. One waiter at a time.
  Wait writable();
  /// Until the other sockets have had their turn: for one who could go on reading at once. In place of
  /// readable().
  Wait nextTurn();

  /// Calls `stirred` whenever something has come that nobody waits for, bytes or the end of the stream: soon,
  /// if that is so already.
  void watch(std::function<void()> stirred);
  void unwatch() { watcher = nullptr; }
  /// Whether the other side is known to send no more, even where bytes of it are still unread.
  bool hungUp() const { return ended; }
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
    std::coroutine_handle<> waiter;
    bool ready = false;         ///< as far as has been reported
    bool yielding = false;      ///< the waiter is to be woken at the end of the turn
    bool interrupting = false;  ///< likewise, as interrupted
    bool interrupted = false;
    void resume();
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

class Socket::Wait {
 public:
  Wait(Socket& waitedFor, Side& which, bool afterOthers)
      : socket(waitedFor), side(which), yields(afterOthers) {}
  bool await_ready() const noexcept { return side.ready && !yields; }
  void await_suspend(std::coroutine_handle<> waiter) {
    side.waiter = waiter;
    side.yielding = yields;
    if (yields) socket.loop.soon(socket);
  }
  Wake await_resume() noexcept {
    return std::exchange(side.interrupted, false) ? Wake::interrupted : Wake::ready;
  }

 private:
  Socket& socket;
  Side& side;
  bool yields;
};

inline Socket::Wait Socket::readable() { return {*this, read, false}; }
inline Socket::Wait Socket::writable() { return {*this, write, false}; }
inline Socket::Wait Socket::nextTurn() { return {*this, read, true}; }

}  // namespace ferrin::proxy
