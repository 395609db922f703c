#pragma once
// Which descriptors a started program inherits. The systems differ in how that is said.

#include <spawn.h>

#include "core/FileDescriptor.h"

namespace ferrin::relay {

struct Pipe {
  core::FileDescriptor readingEnd;
  core::FileDescriptor writingEnd;
};

/// Both ends are close-on-exec. Throws std::system_error.
Pipe openPipe();

/// Makes a started program inherit its first three descriptors only, including none that this process was
/// started with. To be called after all other actions have been added.
void keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

}  // namespace ferrin::relay
