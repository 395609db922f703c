#pragma once
// Many sockets in one thread.

#include <cstdint>
#include <functional>
#include <unordered_map>

namespace ferrin::bench {

class Loop {
 public:
  Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;
  ~Loop();

  /// Calls `readable` whenever there is something to read on `socket`, until it is forgotten.
  void watch(int socket, std::function<void()> readable);
  /// Closes it. Not from its own call-back's captures: they go with it.
  void forget(int socket);
  /// One turn, waiting until `until` (nanoseconds, as now()) at the longest.
  void turn(std::uint64_t until);

 private:
  int epoll;
  std::unordered_map<int, std::function<void()>> watched;
};

}  // namespace ferrin::bench
