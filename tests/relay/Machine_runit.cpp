#include "relay/RunitManager.h"
#include "tests/relay/Machine.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {
namespace {

struct RunitMachine : Machine {
  RunitMachine() {
    home = folder / "it's \"home\"";
    services = std::make_unique<relay::RunitManager>(home);
    relayScript = RELAY_SCRIPT;
  }
  ~RunitMachine() override { services->bootout(core::serviceLabel); }

  const TemporaryFolder folder;
};

}  // namespace

std::unique_ptr<Machine> freshMachine() { return std::make_unique<RunitMachine>(); }

}  // namespace ferrin::tests
