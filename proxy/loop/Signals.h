#pragma once

#include <functional>

#include "proxy/loop/EventLoop.h"

namespace ferrin::proxy {

/// Hands SIGTERM and SIGINT to the event loop, each as it comes. One object at a time in a process.
class Signals : private Watched {
 public:
  /// Throws std::system_error.
  Signals(EventLoop& home, std::function<void()> arrived);
  /// Gives the signals their usual effect back.
  ~Signals() override;

 private:
  void noted(const Change&) override {}
  void goOnReading() override;
  void goOnWriting() override {}

  std::function<void()> arrived;
  Descriptor receiving;
};

}  // namespace ferrin::proxy
