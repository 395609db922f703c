#pragma once
// Programs that stand in for those that can't be had in a test: launchctl off macOS, and a relay that needs
// no port.

#include <sys/types.h>

#include "relay/ServiceManager.h"

namespace ferrin::tests {

/// Writes `content` to `file` and lets its owner execute it.
void putProgram(const std::filesystem::path& file, std::string_view content);
/// A process that has ended and is only waited for is not alive any more.
bool isAlive(pid_t process);

/// Records every call. Succeeds without a word, unless told otherwise for a subcommand.
class StandInLaunchctl {
 public:
  explicit StandInLaunchctl(const std::filesystem::path& folder);

  const std::string& path() const { return program; }
  /// `answer` is a piece of sh, with the call's arguments: "echo no such service; exit 113".
  void answer(const std::string& subcommand, std::string_view answer) const;
  /// One line per call, arguments joined by "|" and the user's domain written as "gui".
  std::string calls() const;

 private:
  std::string program;
};

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

/// The relay's service with that program, its log in a folder beside it.
relay::ServiceDefinition serviceOf(const StandInRelay& relay, const std::vector<std::string>& arguments = {});
/// In the order in which the application does it; the test fails where a step does.
void install(relay::ServiceManager& manager, const relay::ServiceDefinition& definition);

}  // namespace ferrin::tests
