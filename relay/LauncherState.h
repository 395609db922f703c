#pragma once
// The one answer to "does the relay run?" that the window and the menu bar share.

#include <functional>

#include "core/Locations.h"
#include "core/Observers.h"
#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// Every call, and every call-back, is on one thread: the user interface's.
class LauncherState {
 public:
  using Subscription = core::Subscription;

  /// Asks detectRunningState at once, which blocks.
  LauncherState(const core::Locations& locations, ServiceManager& services);

  bool isRunning() const { return running; }

  /// Asks detectRunningState again.
  void refresh();

  /// Records the outcome of an action, in the running marker too. A marker that can't be written changes
  /// nothing: the state is the new one all the same.
  void setRunning(bool nowRunning);

  /// `observer` is told of each change after it has taken effect.
  Subscription subscribe(std::function<void(bool isRunning)> observer);

 private:
  void assign(bool nowRunning);

  const core::Locations& locations;
  ServiceManager& services;
  bool running;
  core::Observers<bool> observers;
};

}  // namespace ferrin::relay
