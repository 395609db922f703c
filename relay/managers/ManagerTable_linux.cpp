#include "relay/managers/ManagerTable.h"
#include "relay/managers/RunitManager.h"
#include "relay/managers/SystemdManager.h"

namespace ferrin::relay {

ManagerTable managerTable() {
  static constexpr ManagerRow rows[] = {
      {"systemd's user manager", SystemdManager::find},
      {"runit", RunitManager::find},
  };
  return {rows, "Install runit (on Debian: apt install runit)."};
}

}  // namespace ferrin::relay
