#pragma once
// Running external programs: by absolute path, with a list of arguments, without a shell.

#include <cstdint>
#include <string>
#include <vector>

namespace ferrin::relay {

struct CommandResult {
  /// The program's exit status; 128 + N when signal N ended it; -1 when it could not be started.
  std::int32_t status = 0;
  /// Standard output and standard error in the order written, untrimmed; empty when not UTF-8. For a program
  /// that could not be started: its path and the system's reason.
  std::string output;
};

/// Runs `program` (an absolute path) and waits until it has ended and its output is at its end: a child that
/// inherits the output keeps this waiting. The output may be of any size. The program inherits standard input
/// and no other descriptor, and starts with all signals unblocked and at their defaults. Never throws. Blocks
/// the calling thread; safe from any thread. The process must not ignore SIGCHLD (app/ProcessSetup.h).
CommandResult run(const std::string& program, const std::vector<std::string>& arguments);

/// Starts `program` in a new session and not as a child, with its streams on /dev/null, so that it outlives
/// this process. Status 0 means that it was forked, not that it runs. Never throws; safe from any thread.
/// Linux only: uses setsid(1) of util-linux.
CommandResult runDetached(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace ferrin::relay
