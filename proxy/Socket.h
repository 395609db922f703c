#pragma once
// A connected TCP socket as the relay uses it: coroutines wait for readiness, and the reads and writes
// themselves are plain non-blocking calls into memory that is borrowed only while there are bytes to move.
// That keeps a waiting stream at the cost of its descriptor.

#include <boost/asio/ip/tcp.hpp>
#include <coroutine>
#include <functional>
#include <memory>

namespace ferrin::proxy {

/// Why a wait ended.
enum class Wake { ready, interrupted };

class Socket {
 public:
  /// Takes over a connected socket, makes it non-blocking and switches Nagle's algorithm off.
  explicit Socket(boost::asio::ip::tcp::socket connected);
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  /// Closes it. No coroutine may be waiting on it.
  ~Socket();

  int descriptor() { return socket.native_handle(); }

  class Wait;
  /// Until there is something to read, the end of the stream and errors included. One waiter at a time.
  Wait readable();
  /// Until something can be written. One waiter at a time.
  Wait writable();

  /// Calls `stirred` once when the socket becomes readable, unless a coroutine waits for that by then. Costs
  /// nothing for the wait that comes after it: what was armed here serves it too.
  void watch(std::function<void()> stirred);
  void unwatch();

  /// Ends all waits that are under way, with Wake::interrupted, in the next turn of the event loop.
  void interrupt();

  /// Sends the end of the stream after what was written; reading goes on.
  void shutdownSending();
  /// Closes so that the other side sees a reset instead of an end of stream.
  void reset();

 private:
  enum class Direction { read, write };
  struct Side {
    std::coroutine_handle<> waiter;
    std::function<void()> watcher;
    bool armed = false;
    bool fired = false;
    bool interrupting = false;  ///< the waiter that is there now is to be woken
    bool interrupted = false;
  };
  /// Outlives the socket while the event loop still has to hand back a wait of it.
  struct State {
    explicit State(Socket* socket) : owner(socket) {}
    Socket* owner;
    Side read;
    Side write;
  };

  Side& side(Direction direction) { return direction == Direction::read ? state->read : state->write; }
  void arm(Direction direction);
  void ready(Direction direction);
  void aborted(Direction direction);

  boost::asio::ip::tcp::socket socket;
  std::shared_ptr<State> state = std::make_shared<State>(this);
};

class Socket::Wait {
 public:
  Wait(Socket& waitedFor, Direction which) : socket(waitedFor), direction(which) {}
  bool await_ready() noexcept { return std::exchange(socket.side(direction).fired, false); }
  void await_suspend(std::coroutine_handle<> waiter) {
    socket.side(direction).waiter = waiter;
    socket.arm(direction);
  }
  Wake await_resume() noexcept {
    return std::exchange(socket.side(direction).interrupted, false) ? Wake::interrupted : Wake::ready;
  }

 private:
  Socket& socket;
  Direction direction;
};

inline Socket::Wait Socket::readable() { return {*this, Direction::read}; }
inline Socket::Wait Socket::writable() { return {*this, Direction::write}; }

/// Whether the other side has closed its end of `descriptor`, even behind bytes that were not read yet.
bool peerHasClosed(int descriptor);

}  // namespace ferrin::proxy
