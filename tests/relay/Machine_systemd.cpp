// Runs as a user of its own, by as-fresh-user.sh, for whole flows with the relay program beside this one.

#include "relay/Resources.h"
#include "relay/ServiceManager_linux.h"
#include "tests/relay/Machine.h"
#include "tests/relay/UserSystemd.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {
namespace {

namespace fs = std::filesystem;

void removeAllBelow(const fs::path& folder) {
  for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry);
}

struct SystemdMachine : Machine {
  SystemdMachine() {
    home = UserSystemd::home();
    services = relay::chooseLinuxManager(home, UserSystemd::runtimeFolder(), {});
    relayScript = resources / "proxy.py";
    const fs::path relay = relay::executablePath().parent_path() / "ferrin-third-party-proxy";
    put(relayScript, "#!/bin/sh\nexec " + relay.string() + " \"$@\"\n");
  }

  const TemporaryFolder resources;
  const UserSystemd session;
};

}  // namespace

std::unique_ptr<Machine> freshMachine() {
  removeAllBelow(UserSystemd::home());
  return std::make_unique<SystemdMachine>();
}

}  // namespace ferrin::tests
