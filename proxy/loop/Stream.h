#pragma once
// Bytes in and out of one connection, plain or through TLS, without waiting: what can't be done now says so.

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "proxy/loop/Deadlines.h"
#include "proxy/loop/Socket.h"
#include "proxy/loop/Task.h"

namespace ferrin::proxy {

enum class IoStatus {
  moved,        ///< at least one byte was read or written
  blocked,      ///< nothing now; wait for the socket
  end,          ///< reading only: the other side ended its stream in the proper way
  failed,       ///< the connection is broken
  interrupted,  ///< a wait was ended by Socket::interrupt
};

struct IoResult {
  IoStatus status;
  std::size_t bytes = 0;
};

class Stream {
 public:
  Stream(EventLoop& loop, Descriptor connected) : connection(loop, std::move(connected)) {}
  virtual ~Stream() = default;

  Socket& socket() { return connection; }

  /// Reads what is there, up to the size of `into`.
  virtual IoResult read(std::span<char> into) = 0;
  /// Writes as much of `pieces`, in order, as is taken now. Some of it may be so even when this fails.
  virtual IoResult write(std::span<const std::string_view> pieces) = 0;
  /// Whether nothing has come in since the last answer and the other side is still there: fit for another
  /// request.
  virtual bool quiet() = 0;

  /// Why the last call that failed did, for the log; never anything that was sent.
  const std::string& problem() const { return trouble; }

  /// Whether the last read filled what it was given, and another one could go on at once.
  bool hasMore() const { return more; }

 protected:
  IoResult failed(std::string why) {
    trouble = std::move(why);
    return {IoStatus::failed};
  }

  Socket connection;
  std::string trouble;
  bool more = false;
};

/// Waits for bytes and reads them into `into`, which is not touched before there are any: it may be shared by
/// all streams as long as what was read is used up before the next wait. After a full block the other streams
/// have their turn first.
class ReadSome final : private Socket::Waiter {
 public:
  ReadSome(Stream& from, std::span<char> block) : stream(from), into(block) {}
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
  std::span<char> into;
  std::coroutine_handle<> coroutine;
  IoResult result{IoStatus::interrupted};
};
inline ReadSome readSome(Stream& stream, std::span<char> into) { return {stream, into}; }

/// What a stream still has to send, kept only while the other side doesn't take it.
class Outbox {
 public:
  Outbox() = default;
  Outbox(const Outbox&) = delete;
  Outbox& operator=(const Outbox&) = delete;
  ~Outbox() { wipe(); }

  /// Writes `pieces`, behind what is kept already, and keeps what isn't taken now. False when the connection
  /// is broken, for stream.problem().
  bool send(Stream& stream, std::initializer_list<std::string_view> pieces);
  bool empty() const { return kept.empty(); }
  /// Waits until all that is kept has been taken, renewing `silence` with every byte. False when the
  /// connection is broken or the wait was interrupted.
  Task<bool> flush(Stream& stream, Deadline& silence);
  /// Whether any byte may have been taken since this object was made.
  bool anyTaken() const { return taken; }
  /// Forgets everything, bytes in memory included.
  void wipe();

 private:
  std::string kept;
  bool taken = false;
};

class PlainStream : public Stream {
 public:
  using Stream::Stream;
  IoResult read(std::span<char> into) override;
  IoResult write(std::span<const std::string_view> pieces) override;
  bool quiet() override;

 private:
  IoResult transmit(std::span<const std::string_view> pieces);
  IoResult failure(int error);
};

}  // namespace ferrin::proxy
