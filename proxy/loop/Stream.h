#pragma once
// Bytes in and out of one connection, plain or through TLS. Nothing here blocks: a call that can do nothing
// now says so.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "proxy/loop/Socket.h"

namespace ferrin::proxy {

enum class IoStatus {
  moved,        ///< at least one byte was read or written
  blocked,      ///< nothing now; wait for the socket
  end,          ///< reading only: the peer ended its stream in the proper way
  failed,       ///< the connection is broken; Stream::problem() says why
  interrupted,  ///< a wait was ended by Socket::interrupt
};

struct IoResult {
  IoStatus status;
  std::size_t bytes = 0;
};

/// Everything is called on the loop's thread.
class Stream {
 public:
  /// Throws std::system_error when the loop can't watch the socket.
  Stream(EventLoop& loop, FileDescriptor connected) : connection(loop, std::move(connected)) {}
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  virtual ~Stream() = default;

  Socket& socket() { return connection; }
  /// Whether the peer is known to send no more, even where bytes of it are still unread.
  bool hungUp() const { return connection.hungUp(); }

  /// Reads what is there, at most the size of `into`.
  virtual IoResult read(std::span<char> into) = 0;
  /// Writes as much of `pieces`, in order, as is taken now. `bytes` counts what was taken, on a failure too.
  virtual IoResult write(std::span<const std::string_view> pieces) = 0;
  /// Whether it may carry another request: the peer is still there and has sent nothing since the last
  /// response.
  virtual bool isReusable() = 0;

  /// Why the last call that failed did so, for the log; never anything that was sent or received. Only after
  /// such a call.
  std::string problem() const;

  /// Whether the last read filled its buffer, so that another one could go on at once.
  bool hasMore() const { return more; }

 protected:
  /// Records why a call failed: an errno value, or a text that lives as long as the process. Needs no memory,
  /// as reads also happen in handlers that must not throw.
  IoResult failed(int systemError) noexcept;
  IoResult failed(const char* reason) noexcept;

  Socket connection;
  bool more = false;

 private:
  int lastError = 0;
  const char* lastReason = nullptr;
};

/// Waits for bytes and reads them into `block`. The block is not touched before there are any, so all streams
/// can share one: what was read must be used up before the next wait. After a read that filled the block the
/// other streams have their turn first.
class ReadSome final : private Socket::Waiter {
 public:
  ReadSome(Stream& from, std::span<char> into) : stream(from), block(into) {}
  bool await_ready() { return !stream.hasMore() && attempt(); }
  void await_suspend(std::coroutine_handle<> waiting) {
    coroutine = waiting;
    stream.socket().awaitReadable(*this, stream.hasMore());
  }
  IoResult await_resume() const { return result; }

 private:
  bool attempt();
  void woken(Wake why) override;

  Stream& stream;
  std::span<char> block;
  std::coroutine_handle<> coroutine;
  IoResult result{IoStatus::interrupted};
};
inline ReadSome readSome(Stream& stream, std::span<char> block) { return {stream, block}; }

class PlainStream : public Stream {
 public:
  using Stream::Stream;
  IoResult read(std::span<char> into) override;
  IoResult write(std::span<const std::string_view> pieces) override;
  bool isReusable() override;

 private:
  IoResult transmit(std::span<const std::string_view> pieces);
  IoResult failure(int error);
};

}  // namespace ferrin::proxy
