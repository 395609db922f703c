#include "relay/managers/LaunchdManager.h"
#include "relay/managers/ManagerTable.h"

namespace ferrin::relay {

ManagerTable managerTable() {
  static constexpr ManagerRow rows[] = {{"launchd", LaunchdManager::find}};
  return {rows, ""};
}

}  // namespace ferrin::relay
