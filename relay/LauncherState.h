#pragma once
// The one answer to "does the relay run?" that the window and the menu bar share.

#include <functional>
#include <map>
#include <memory>

#include "core/Locations.h"
#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// Every call, and every call-back, is on one thread: the user interface's.
class LauncherState {
 public:
  using Observer = std::function<void(bool isRunning)>;

  /// Ends its observation when it goes; it may outlive the state. An empty one observes nothing.
  class Subscription {
   public:
    Subscription() = default;
    Subscription(Subscription&& other) noexcept;
    Subscription& operator=(Subscription&& other) noexcept;
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription();

   private:
    friend class LauncherState;
    Subscription(std::weak_ptr<std::map<int, Observer>> owner, int number);

    std::weak_ptr<std::map<int, Observer>> observers;
    int key = 0;
  };

  /// Asks detectRunningState at once, which blocks.
  LauncherState(const core::Locations& locations, ServiceManager& services);

  bool isRunning() const { return running; }

  /// Asks detectRunningState again.
  void refresh();

  /// Records the outcome of an action, in the running marker too. A marker that can't be written changes
  /// nothing: the state is the new one all the same.
  void setRunning(bool nowRunning);

  /// `observer` is told of each change after it has taken effect. It may end subscriptions, its own included.
  [[nodiscard]] Subscription subscribe(Observer observer);

 private:
  void assign(bool nowRunning);

  const core::Locations& locations;
  ServiceManager& services;
  bool running;
  int lastKey = 0;
  std::shared_ptr<std::map<int, Observer>> observers = std::make_shared<std::map<int, Observer>>();
};

}  // namespace ferrin::relay
