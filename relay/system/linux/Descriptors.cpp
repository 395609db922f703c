#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "relay/system/Descriptors.h"

namespace ferrin::relay {

Pipe openPipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) core::throwErrno("pipe");
  return {core::FileDescriptor(ends[0]), core::FileDescriptor(ends[1])};
}

void keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, posix_spawnattr_t&) {
  posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

}  // namespace ferrin::relay
