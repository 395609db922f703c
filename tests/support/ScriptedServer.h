#pragma once
// An HTTP server on loopback that says what a test wants, and keeps what it was asked.

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/FileDescriptor.h"

namespace ferrin::tests {

/// What one connection gets once its request has come in whole. After the last piece the connection is
/// closed, or, with `hangs`, left open until the other side or the server goes.
struct Reply {
  std::vector<std::string> pieces;
  std::chrono::milliseconds gap{0};
  bool hangs = false;
};

/// A reply whose length is told.
Reply reply(const std::string& statusLine, const std::string& body, const std::string& moreHeaders = "");

/// Serves one connection after the other, the first with the first reply.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::vector<Reply> script);
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;
  ~ScriptedServer();

  /// "http://127.0.0.1:PORT" and the path.
  std::string url(const std::string& path) const;
  /// The requests so far, heads and bodies. One is there before any of its reply is sent.
  std::vector<std::string> requests() const;

 private:
  void serve();
  void answer(int connection, const Reply& next);
  /// False when it is time to stop.
  bool readable(int descriptor) const;

  const std::vector<Reply> replies;
  core::FileDescriptor listener;
  core::FileDescriptor stopReading;
  core::FileDescriptor stopWriting;
  int port = 0;
  mutable std::mutex mutex;
  std::vector<std::string> received;
  std::thread thread;
};

}  // namespace ferrin::tests
