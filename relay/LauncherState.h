#pragma once
// Whether the relay runs, as the window and the menu bar show it.

#include <functional>

#include "core/Locations.h"
#include "core/Observers.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// One object, shared by all views. Every call and every callback is on the main thread. `locations` and
/// `services` outlive it.
class LauncherState {
 public:
  using Subscription = core::Subscription;

  /// Calls detectRunningState, which blocks.
  LauncherState(const core::Locations& locations, ServiceManager& services);

  bool isRunning() const { return running; }

  /// Calls detectRunningState again; blocks, too.
  void refresh();

  /// Sets the state after an action, notifies the observers, and then writes the running marker. A failed
  /// write is ignored: the state is right, only the next start may show the older one.
  void setRunning(bool nowRunning);

  /// Calls `observer` after each change of the state, not for the present one. See core::Observers for what
  /// it may do.
  Subscription subscribe(std::function<void(bool isRunning)> observer);

 private:
  void assign(bool nowRunning);

  const core::Locations& locations;
  ServiceManager& services;
  bool running;
  core::Observers<bool> observers;
};

}  // namespace ferrin::relay
