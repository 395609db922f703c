#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <functional>

#include "proxy/loop/EventLoop.h"

namespace ferrin::proxy {

/// A listening socket. Accepts one connection per turn of the event loop, so that connections that are open
/// already are served in between.
class Listener : private EventHandler, private DeferredCall {
 public:
  /// `accepted` gets each connection, non-blocking and close-on-exec. `failed` gets the reason, an errno
  /// value, why none can be accepted for the moment; the listener then pauses until retry(). Both are called
  /// from the event loop, must not throw, and may destroy the listener. Throws std::system_error when the
  /// endpoint can't be listened at.
  Listener(EventLoop& home, const boost::asio::ip::tcp::endpoint& endpoint,
           std::function<void(FileDescriptor)> accepted, std::function<void(int)> failed);

  /// Where it listens; a port 0 has been replaced by the one that was taken. Throws std::system_error.
  boost::asio::ip::tcp::endpoint endpoint() const;
  /// Goes on after a failure.
  void retry() { loop.defer(*this); }

 private:
  void recordReadiness(const Readiness&) noexcept override {}
  void handleReadable() noexcept override { run(); }
  void handleWritable() noexcept override {}
  void run() noexcept override;

  FileDescriptor socket;
  std::function<void(FileDescriptor)> accepted;
  std::function<void(int)> failed;
};

}  // namespace ferrin::proxy
