#include "core/Locations.h"
#include "relay/RunitManager.h"
#include "tests/app/Machine.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {

struct Machine::Parts {
  const TemporaryFolder home;
  relay::RunitManager services{home.path()};
  const std::filesystem::path relayScript = RELAY_SCRIPT;
};

Machine::Machine() : parts(std::make_unique<Parts>()) {}

Machine::~Machine() { parts->services.bootout(core::serviceLabel); }

const std::filesystem::path& Machine::home() const { return parts->home.path(); }
relay::ServiceManager& Machine::services() { return parts->services; }
const std::filesystem::path& Machine::relayScript() const { return parts->relayScript; }

}  // namespace ferrin::tests
