#include "relay/ServiceManager_linux.h"

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <system_error>

#include "relay/AbsentManager.h"
#include "relay/RunitManager.h"
#include "relay/SystemdManager.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

bool present(const fs::path& file) {
  std::error_code ignored;
  return fs::exists(file, ignored);
}

/// Where a program was started outside a session the variable is missing, but a lingering manager still
/// listens.
fs::path userRuntimeFolder() {
  const char* named = std::getenv("XDG_RUNTIME_DIR");
  if (named != nullptr && *named != '\0') return named;
  return fs::path("/run/user") / std::to_string(getuid());
}

}  // namespace

std::unique_ptr<ServiceManager> chooseLinuxManager(const fs::path& home, const fs::path& runtimeFolder,
                                                   const std::vector<fs::path>& programFolders) {
  const fs::path managerSocket = runtimeFolder / "systemd" / "private";
  if (present(managerSocket)) return std::make_unique<SystemdManager>(home, runtimeFolder);
  for (const fs::path& folder : programFolders) {
    if (present(folder / "runsv")) return std::make_unique<RunitManager>(home, folder);
  }
  return std::make_unique<AbsentManager>(
      "no service manager can run the relay: systemd's user manager does not listen at " +
      managerSocket.string() + ", and runit is not installed. Install runit (on Debian: apt install runit).");
}

std::unique_ptr<ServiceManager> chooseServiceManager(const core::Locations& locations) {
  return chooseLinuxManager(locations.home, userRuntimeFolder(),
                            {"/usr/bin", "/bin", "/usr/sbin", "/sbin", "/usr/local/bin", "/usr/local/sbin"});
}

}  // namespace ferrin::relay
