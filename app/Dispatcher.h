#pragma once
// Running work on the main thread, which owns everything that is shown, or in the background.

#include <functional>

namespace ferrin::app {

class Dispatcher {
 public:
  using Work = std::function<void()>;

  virtual ~Dispatcher() = default;

  /// Queues `work` for a background thread. Safe from any thread. `work` must not throw.
  virtual void inBackground(Work work) = 0;

  /// Queues `work` for the main thread, after all that was queued before; never runs it within this call.
  /// Safe from any thread. `work` must not throw.
  virtual void onMain(Work work) = 0;
};

}  // namespace ferrin::app
