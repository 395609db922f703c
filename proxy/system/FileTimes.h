#pragma once

#include <sys/stat.h>

#include <chrono>

namespace ferrin::proxy {

/// When the file's content was last written, since the epoch.
std::chrono::nanoseconds modified(const struct stat& status);
/// When anything about the file last changed, since the epoch.
std::chrono::nanoseconds changed(const struct stat& status);

}  // namespace ferrin::proxy
