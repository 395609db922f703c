#pragma once
// What descriptors a started program gets, where the systems differ.

#include <spawn.h>

#include "core/FileDescriptor.h"

namespace ferrin::relay {

struct Pipe {
  core::FileDescriptor readingEnd;
  core::FileDescriptor writingEnd;
};

/// Both ends are close-on-exec. Throws std::system_error.
Pipe openPipe();

/// Lets a program keep its first three descriptors only, whatever this process was itself started with.
/// Called after all other actions have been added.
void keepOnlyStandardStreams(posix_spawn_file_actions_t& actions, posix_spawnattr_t& attributes);

}  // namespace ferrin::relay
