#pragma once

#include <functional>
#include <utility>

namespace ferrin::proxy {

/// Holds the way to end what one coroutine waits for at the moment, so that other code can end that wait.
class CancellationSlot {
 public:
  /// Fills the slot for as long as it lives; leaving its scope, also by an exception, empties the slot. One
  /// at a time.
  class [[nodiscard]] Scope {
   public:
    Scope(CancellationSlot& filled, std::function<void()> cancel) : slot(filled) {
      slot.cancelWait = std::move(cancel);
    }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() { slot.cancelWait = nullptr; }

   private:
    CancellationSlot& slot;
  };

  /// Whether there is a wait to end. False again once cancel() was called, even while the Scope still exists.
  bool filled() const { return cancelWait != nullptr; }
  /// Ends the wait, if there is one; ends the same wait only once. May resume the coroutine within this call.
  void cancel() {
    if (const auto call = std::exchange(cancelWait, nullptr)) call();
  }

 private:
  std::function<void()> cancelWait;
};

}  // namespace ferrin::proxy
