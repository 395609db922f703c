#include "relay/AbsentManager.h"

#include <utility>

namespace ferrin::relay {

AbsentManager::AbsentManager(std::string reason) : failure{1, std::move(reason)} {}

}  // namespace ferrin::relay
