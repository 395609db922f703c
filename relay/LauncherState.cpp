#include "relay/LauncherState.h"

#include <system_error>
#include <utility>

#include "core/RestrictedFile.h"
#include "relay/RelayStatus.h"

namespace ferrin::relay {

LauncherState::Subscription::Subscription(std::weak_ptr<std::map<int, Observer>> owner, int number)
    : observers(std::move(owner)), key(number) {}

LauncherState::Subscription::Subscription(Subscription&& other) noexcept
    : observers(std::move(other.observers)), key(other.key) {}

LauncherState::Subscription& LauncherState::Subscription::operator=(Subscription&& other) noexcept {
  std::swap(observers, other.observers);
  std::swap(key, other.key);
  return *this;
}

LauncherState::Subscription::~Subscription() {
  if (const auto all = observers.lock()) all->erase(key);
}

LauncherState::LauncherState(const core::Locations& places, ServiceManager& manager)
    : locations(places), services(manager), running(detectRunningState(places, manager)) {}

void LauncherState::refresh() { assign(detectRunningState(locations, services)); }

void LauncherState::setRunning(bool nowRunning) {
  assign(nowRunning);
  try {
    core::writeRestricted(locations.runningMarker, nowRunning ? "running" : "stopped");
  } catch (const std::system_error&) {
    // The marker only serves the next start; what the user sees now is right without it.
  }
}

LauncherState::Subscription LauncherState::subscribe(Observer observer) {
  observers->emplace(++lastKey, std::move(observer));
  return {observers, lastKey};
}

/// Observers may come and go while they are told, so each is looked up again by its key.
void LauncherState::assign(bool nowRunning) {
  if (std::exchange(running, nowRunning) == nowRunning) return;
  const auto all = observers;
  const int newest = lastKey;
  for (auto next = all->begin(); next != all->end() && next->first <= newest;) {
    const int key = next->first;
    const Observer observer = next->second;
    observer(nowRunning);
    next = all->upper_bound(key);
  }
}

}  // namespace ferrin::relay
