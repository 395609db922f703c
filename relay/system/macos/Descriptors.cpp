#include <fcntl.h>
#include <unistd.h>

#include <array>

#include "relay/system/Descriptors.h"

namespace ferrin::relay {

Pipe openPipe() {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) core::throwErrno("pipe");
  Pipe opened{core::FileDescriptor(ends[0]), core::FileDescriptor(ends[1])};
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  return opened;
}

void keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes) {
  short flags = 0;
  posix_spawnattr_getflags(&attributes, &flags);
  posix_spawnattr_setflags(&attributes, static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT));
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    posix_spawn_file_actions_addinherit_np(&actions, stream);
  }
}

}  // namespace ferrin::relay
