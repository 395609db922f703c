#pragma once
// A log that never outgrows its limit: where it is a regular file, the older half goes first.

#include <sys/types.h>

#include <cstddef>
#include <string_view>

namespace ferrin::proxy {

class LogFile {
 public:
  static constexpr std::size_t maxBytes = std::size_t{10} * 1024 * 1024;

  /// Writes to `descriptor`, which stays the caller's.
  explicit LogFile(int descriptor) : output(descriptor) {}

  /// Appends whole lines. What can't be written at once (a full disk, a pipe that is full or closed) is lost.
  /// After a line that was cut off, the next one begins with a line feed.
  void write(std::string_view lines) noexcept;

 private:
  void dropOlderHalf(off_t size) noexcept;

  int output;
  bool cut = false;  ///< the last line was cut off by a full disk
};

}  // namespace ferrin::proxy
