#include "proxy/system/Starter.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>

namespace ferrin::proxy {
namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

/// As proc(5) has it; runsv, for which alone it is asked, is used where there is such a file.
std::string nameOf(pid_t process) {
  std::string name;
  std::ifstream stream("/proc/" + std::to_string(process) + "/comm");
  std::getline(stream, name);
  return name;
}

}  // namespace

Origin ownOrigin() {
  const pid_t parent = getppid();
  return {std::to_string(getpid()), variable("SYSTEMD_EXEC_PID"), variable("XPC_SERVICE_NAME"), parent == 1,
          nameOf(parent)};
}

std::string_view starter(const Origin& origin) {
  if (!origin.execPid.empty() && origin.execPid == origin.process) return "systemd";
  if (!origin.xpcService.empty() && origin.startedByFirst) return "launchd";
  return origin.parentName == "runsv" ? "runit" : "hand";
}

}  // namespace ferrin::proxy
