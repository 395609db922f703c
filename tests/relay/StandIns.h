#pragma once
// Programs made for a test: among them a relay that needs no port.

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace ferrin::tests {

/// Writes `content` to `file` and lets its owner execute it.
void putProgram(const std::filesystem::path& file, std::string_view content);
/// A process that has ended and is only waited for is not alive any more.
bool isAlive(pid_t process);

/// Records what it is started with, writes a line to each of its streams, and then waits to be ended.
class StandInRelay {
 public:
  explicit StandInRelay(const std::filesystem::path& file);

  const std::filesystem::path& path() const { return program; }
  /// Of the latest start.
  std::vector<std::string> arguments() const;
  /// The relay as it runs now; 0 when none but `other` has recorded itself within the deadline.
  pid_t running(pid_t other = 0) const;

 private:
  const std::filesystem::path program, record;
};

}  // namespace ferrin::tests
