#pragma once

#include <coroutine>

#include "proxy/loop/EventLoop.h"

namespace ferrin::proxy {

/// Lets other connections go first: whoever awaits it goes on at the end of this turn of the event loop, or
/// of the next one. Not interrupted by anything; forgotten when destroyed.
class NextTurn final : private DeferredCall {
 public:
  explicit NextTurn(EventLoop& home) : loop(home) {}
  bool await_ready() const noexcept { return false; }
  void await_suspend(std::coroutine_handle<> waiting) noexcept {
    coroutine = waiting;
    loop.defer(*this);
  }
  void await_resume() const noexcept {}

 private:
  void run() noexcept override { coroutine.resume(); }

  EventLoop& loop;
  std::coroutine_handle<> coroutine;
};

}  // namespace ferrin::proxy
