#pragma once
// Telling whoever wants to know that something has changed. All on one thread.

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace ferrin::core {

/// Ends its observation when it goes; it may outlive what is observed. An empty one observes nothing.
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

template <typename... Arguments>
class Observers {
 public:
  using Observer = std::function<void(Arguments...)>;

  Subscription add(Observer observer) {
    auto owned = std::make_shared<Observer>(std::move(observer));
    observers.push_back(owned);
    return Subscription(std::move(owned));
  }

  /// Tells the observers in the order in which they came. One may end subscriptions, its own included, add
  /// others, which are told from the next time on, and even let this object go.
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
