#pragma once
// Waiting for another process, on a condition and with a deadline.

#include <chrono>
#include <thread>

namespace ferrin::tests {

/// Whether `condition` came true before the deadline. It is asked again every few milliseconds.
template <typename Condition>
bool eventually(Condition condition, std::chrono::milliseconds deadline = std::chrono::seconds(20)) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace ferrin::tests
