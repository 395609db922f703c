#include "relay/LauncherState.h"

#include <system_error>
#include <utility>

#include "core/RestrictedFile.h"
#include "relay/RelayStatus.h"

namespace ferrin::relay {

LauncherState::LauncherState(const core::Locations& places, ServiceManager& manager)
    : locations(places), services(manager), running(detectRunningState(places, manager)) {}

void LauncherState::refresh() { assign(detectRunningState(locations, services)); }

void LauncherState::setRunning(bool nowRunning) {
  assign(nowRunning);  // first, as it must not depend on the marker
  try {
    core::writeRestricted(locations.runningMarker, nowRunning ? "running" : "stopped");
  } catch (const std::system_error&) {
    // The marker matters at the next start only.
  }
}

LauncherState::Subscription LauncherState::subscribe(std::function<void(bool)> observer) {
  return observers.add(std::move(observer));
}

void LauncherState::assign(bool nowRunning) {
  if (std::exchange(running, nowRunning) != nowRunning) observers.notify(nowRunning);
}

}  // namespace ferrin::relay
