#pragma once
// An HTTP server on loopback that says what a test wants, and keeps what it was asked.

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/FileDescriptor.h"

namespace ferrin::tests {

/// What one connection gets once its request has come in whole: the pieces, each followed by a gap, and then
/// the end of the connection.
struct Reply {
  std::vector<std::string> pieces;
  std::chrono::milliseconds gap{0};
};

/// A reply whose length is told.
Reply reply(const std::string& statusLine, const std::string& body, const std::string& moreHeaders = "");

/// Serves one connection after the other, the first with the first reply.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::vector<Reply> script);
  ~ScriptedServer();

  /// "http://127.0.0.1:PORT" and the path.
  std::string url(const std::string& path) const;
  /// The requests so far, heads and bodies. One is there before any of its reply is sent.
  std::vector<std::string> requests() const;

 private:
  void serve();
  void answer(int connection, const Reply& next);
  /// Waits until something can be read from `descriptor`, if not negative, or the time is over. Whether this
  /// object's end came first.
  bool endsWhileWaiting(int descriptor, std::chrono::milliseconds time) const;

  const std::vector<Reply> replies;
  core::FileDescriptor listener, stopReading, stopWriting;
  int port = 0;
  mutable std::mutex mutex;
  std::vector<std::string> received;
  std::thread thread;
};

}  // namespace ferrin::tests
