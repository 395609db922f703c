#include "relay/RunitManager.h"
#include "tests/relay/Machine.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {
namespace {

struct RunitMachine : Machine {
  RunitMachine() {
    home = folder / "it's \"home\" $HOME `x` 100% \\n";
    services = std::make_unique<relay::RunitManager>(home);
    relayScript = RELAY_SCRIPT;
  }
  ~RunitMachine() override { services->bootout(core::serviceLabel); }
  void logInAgain() override {
    services->bootout(core::serviceLabel);
    relay::runDetached("/usr/bin/gio",
                       {"launch", home / ".config/autostart/com.ferrin.third-party-proxy.desktop"});
  }

  const TemporaryFolder folder;
};

}  // namespace

std::unique_ptr<Machine> freshMachine() { return std::make_unique<RunitMachine>(); }

}  // namespace ferrin::tests
