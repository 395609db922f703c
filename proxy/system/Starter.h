#pragma once
// Who started the relay, which the log says first.

#include <string>
#include <string_view>

namespace ferrin::proxy {

/// What the system tells a process about who started it; empty where it doesn't.
struct Origin {
  std::string process;     ///< this one's number
  std::string execPid;     ///< $SYSTEMD_EXEC_PID: what systemd started itself, unlike that one's descendants
  std::string xpcService;  ///< $XPC_SERVICE_NAME: likewise a descendant's as well
  bool startedByFirst = false;  ///< the parent is process 1
  std::string parentName;
};

/// The calling process's.
Origin ownOrigin();

/// "systemd", "launchd", "runit" or "hand".
std::string_view starter(const Origin& origin);

}  // namespace ferrin::proxy
