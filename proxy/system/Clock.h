#pragma once

#include <chrono>

namespace ferrin::proxy {

/// Time that only goes forward, and also while the machine sleeps: a connection that was idle for a night is
/// old.
struct Clock {
  using duration = std::chrono::nanoseconds;
  using rep = duration::rep;
  using period = duration::period;
  using time_point = std::chrono::time_point<Clock>;
  static constexpr bool is_steady = true;

  static time_point now() noexcept;
};

}  // namespace ferrin::proxy
