#pragma once

#include <functional>

#include "proxy/loop/EventLoop.h"

namespace ferrin::proxy {

/// Reports SIGTERM, SIGINT, SIGHUP and SIGQUIT to the event loop. One object at a time in a process.
class TerminationSignals : private EventHandler {
 public:
  /// `arrived` is called with the signal's number, from the event loop; it must not throw. Throws
  /// std::system_error.
  TerminationSignals(EventLoop& home, std::function<void(int)> arrived);
  /// The signals have their default effect again.
  ~TerminationSignals() override;

 private:
  void recordReadiness(const Readiness&) noexcept override {}
  void handleReadable() noexcept override;
  void handleWritable() noexcept override {}

  std::function<void(int)> arrived;
  FileDescriptor receiving;
};

}  // namespace ferrin::proxy
