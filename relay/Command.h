#pragma once
// How the application runs every external program: by absolute path, with a list of arguments, without a
// shell.

#include <cstdint>
#include <string>
#include <vector>

namespace ferrin::relay {

struct CommandResult {
  /// The program's exit status; 128 + N when signal N ended it; -1 when it could not be started.
  std::int32_t status = 0;
  /// Standard output and standard error in the order written, untrimmed; empty when not UTF-8. When the
  /// program could not be started: its path and the system's reason.
  std::string output;
};

/// Runs `program` (an absolute path) to its end and until everything that holds its output has closed it.
/// Output of any size is taken. Standard input is this process's own; no other descriptor reaches the
/// program, and no signal is blocked or ignored in it. Never throws. Blocks the calling thread; safe from any
/// thread.
CommandResult run(const std::string& program, const std::vector<std::string>& arguments);

/// Starts `program` in a session of its own, as no child of ours, with its streams on /dev/null: it outlives
/// this process. A status of 0 says that it was handed over, not that it runs. Linux only: it takes
/// util-linux's setsid.
CommandResult runDetached(const std::string& program, const std::vector<std::string>& arguments);

}  // namespace ferrin::relay
