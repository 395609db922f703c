#include "relay/managers/ServiceManager.h"

#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "relay/managers/ManagerTable.h"
#include "relay/managers/PresentManagers.h"

namespace ferrin::relay {
namespace {

/// A process that was started outside a session, by cron say, has no such variable, but the user's manager
/// may still run.
std::filesystem::path userRuntimeFolder() {
  const char* named = std::getenv("XDG_RUNTIME_DIR");
  if (named != nullptr && *named != '\0') return named;
  return std::filesystem::path("/run/user") / std::to_string(getuid());
}

}  // namespace

std::unique_ptr<ServiceManager> chooseServiceManager(const UserSession& session) {
  const ManagerTable table = managerTable();
  std::vector<std::unique_ptr<ServiceManager>> present;
  std::string reasons;
  for (const ManagerRow& row : table.rows) {
    ManagerOrReason found = row.find(session);
    reasons += (reasons.empty() ? "" : ", and ") + std::string(row.name) + " " + found.reason;
    if (found.manager) present.push_back(std::move(found.manager));
  }
  return std::make_unique<PresentManagers>(
      std::move(present),
      "no service manager can run the relay: " + reasons + ". " + std::string(table.advice));
}

std::unique_ptr<ServiceManager> chooseServiceManager(const core::Locations& locations) {
  return chooseServiceManager(UserSession{
      .home = locations.home,
      .runtimeFolder = userRuntimeFolder(),
      .programFolders = {"/usr/bin", "/bin", "/usr/sbin", "/sbin", "/usr/local/bin", "/usr/local/sbin"}});
}

}  // namespace ferrin::relay
