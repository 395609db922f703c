#pragma once
// Callbacks for a change. Not thread-safe: register, notify and unsubscribe on one thread.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace ferrin::core {

/// Keeps an observer registered; the destructor removes it. May outlive the Observers that it came from. A
/// default-constructed one is empty.
class [[nodiscard]] Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::shared_ptr<void> observer) : owned(std::move(observer)) {}
  Subscription(Subscription&&) noexcept = default;
  Subscription& operator=(Subscription&&) noexcept = default;
  Subscription(const Subscription&) = delete;
  Subscription& operator=(const Subscription&) = delete;
  ~Subscription() = default;

 private:
  std::shared_ptr<void> owned;
};

/// The observers of one subject, which owns this list. It holds them weakly: a subscription alone keeps an
/// observer alive, and does nothing once the list is destroyed.
template <typename... Arguments>
class Observers {
 public:
  using Observer = std::function<void(Arguments...)>;

  /// `observer` is called until the result is destroyed.
  Subscription add(Observer observer) {
    auto owned = std::make_shared<Observer>(std::move(observer));
    observers.push_back(owned);
    return Subscription(std::move(owned));
  }

  /// Calls the observers in the order of their registration. An observer may add others, which are called
  /// from the next time on, end any subscription, its own included, call notify again, and destroy this
  /// object. An exception of an observer is passed on, and the rest are not called.
  void notify(Arguments... arguments) {
    std::erase_if(observers, [](const auto& observer) { return observer.expired(); });
    for (const auto& observer : std::vector(observers)) {
      if (const auto present = observer.lock()) (*present)(arguments...);
    }
  }

 private:
  std::vector<std::weak_ptr<Observer>> observers;
};

}  // namespace ferrin::core
