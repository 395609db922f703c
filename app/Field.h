#pragma once
// One value of a view's state that notifies when it changes.

#include <functional>
#include <utility>

#include "core/Observers.h"

namespace ferrin::app {

/// Assigning a different value notifies the view's observers and then calls `whenChanged` with the value.
/// Assigning an equal value does nothing. Observers and `whenChanged` may assign again. The Observers outlive
/// the field. Not copyable: reading gives the value.
///
/// Read by get(), or where a `const Value&` is expected; written by assignment: `view.model = "m"`.
template <typename Value>
class Field {
 public:
  using WhenChanged = std::function<void(const Value&)>;

  Field(core::Observers<>& viewObservers, Value initial, WhenChanged then = {})
      : observers(viewObservers), value(std::move(initial)), whenChanged(std::move(then)) {}
  Field(const Field&) = delete;

  const Value& get() const { return value; }
  operator const Value&() const { return value; }

  Field& operator=(const Field&) = delete;
  Field& operator=(Value next) {
    if (next == value) return *this;
    (void)std::exchange(value, std::move(next));  // frees the old value, which an assignment keeps room for
    observers.notify();
    if (whenChanged) whenChanged(value);
    return *this;
  }

 private:
  core::Observers<>& observers;
  Value value;
  const WhenChanged whenChanged;
};

}  // namespace ferrin::app
