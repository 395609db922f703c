#pragma once
// Where work runs: the main thread, which owns everything that is shown, and beside it.

#include <functional>

namespace ferrin::app {

class Dispatcher {
 public:
  using Work = std::function<void()>;

  virtual ~Dispatcher() = default;

  /// Runs `work` off the main thread, soon; it throws nothing. From any thread.
  virtual void inBackground(Work work) = 0;

  /// Runs `work` on the main thread, after what was submitted before and never from within this call. From
  /// any thread.
  virtual void onMain(Work work) = 0;
};

}  // namespace ferrin::app
