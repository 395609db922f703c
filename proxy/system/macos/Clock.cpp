#include "proxy/system/Clock.h"

#include <ctime>

namespace ferrin::proxy {

Clock::time_point Clock::now() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);  // clock_gettime(3): on macOS it runs on while the machine sleeps
  return time_point(std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec));
}

}  // namespace ferrin::proxy
