#include "proxy/system/Clock.h"

#include <ctime>

namespace ferrin::proxy {

Clock::time_point Clock::now() noexcept {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);  // clock_gettime(2): CLOCK_MONOTONIC stops while the machine sleeps
  return time_point(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

}  // namespace ferrin::proxy
