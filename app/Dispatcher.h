#pragma once
// Running work on the main thread, which owns everything that is shown, or in the background.

#include <functional>

namespace ferrin::app {

/// The main queue runs in the order of submission; the background queue promises no order. Work that is
/// submitted owns copies of what it uses, or refers to objects that outlive the dispatcher; views do not, so
/// work reaches them through weak pointers.
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
