#pragma once
// The two sides that a relay stands between, played by one test in one thread: a client's connection and a
// scripted upstream. Every wait has a deadline, after which the test fails with std::runtime_error.

#include <netinet/in.h>

#include <array>
#include <chrono>
#include <string>
#include <string_view>

#include "core/FileDescriptor.h"

namespace ferrin::proxy::tests {

using core::FileDescriptor;

inline constexpr std::chrono::seconds patience{20};
/// A whole answer, and the head of one that is to be streamed.
inline const std::string ok = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok";
inline const std::string streamHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

/// One end of a TCP connection.
class Connection {
 public:
  /// To 127.0.0.1. `receiveBuffer` bytes, if not 0, keep a slow reader's system from taking much.
  explicit Connection(std::uint16_t port, int receiveBuffer = 0);
  /// To [::1].
  static Connection overIPv6(std::uint16_t port);
  explicit Connection(FileDescriptor accepted) : socket(std::move(accepted)) {}

  void send(std::string_view bytes);
  /// Sends what can be taken within a moment; how much that was.
  std::size_t sendSome(std::string_view bytes);
  /// Up to and including `end`.
  std::string readUntil(std::string_view end);
  std::string readHead() { return readUntil("\r\n\r\n"); }
  std::string read(std::size_t count);
  /// What comes next, however little; "" at the end of the connection.
  std::string readSome();
  /// A head and as much body as its Content-Length says.
  std::string readAnswer();
  /// Everything up to the end of the connection; a reset counts as "<reset>" at the end.
  std::string readAll();
  /// Whether nothing comes for `time`.
  bool silentFor(std::chrono::milliseconds time);
  /// How long it takes until this end sees the connection's end or its reset.
  std::chrono::milliseconds timeUntilClosed();

  void finishSending();
  /// Closes with a reset.
  void reset();
  void close() { socket.reset(); }
  /// The socket itself, for somebody else to go on with.
  FileDescriptor release() { return std::move(socket); }

 private:
  /// Reads once into `buffered`: false at the end, "<reset>" is appended for a reset.
  bool fill();
  void awaitReadable(std::chrono::milliseconds time = patience);

  FileDescriptor socket;
  std::string buffered;
};

/// A listening socket that the relay takes for its provider.
class Upstream {
 public:
  explicit Upstream(const std::string& address = "127.0.0.1", std::uint16_t port = 0);
  std::uint16_t port() const { return number; }
  std::string url(std::string_view path = "") const;
  Connection accept();
  /// Whether no connection comes for `time`.
  bool silentFor(std::chrono::milliseconds time);

 private:
  FileDescriptor listener;
  std::uint16_t number;
};

/// A port on which somebody listens who never takes a connection: one more is not even refused.
class DeafUpstream {
 public:
  DeafUpstream();
  std::uint16_t port() const { return number; }

 private:
  FileDescriptor listener;
  std::uint16_t number;
  std::array<FileDescriptor, 2> callers;
};

/// A port on which nothing listens.
std::uint16_t unusedPort();

/// A request to the relay on `port`, addressed as it wants it, with more header lines and a body.
std::string request(std::uint16_t port, const std::string& requestLine, const std::string& moreLines = "",
                    const std::string& body = "");

}  // namespace ferrin::proxy::tests
