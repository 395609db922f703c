#include "relay/LaunchdManager.h"

namespace ferrin::relay {

std::unique_ptr<ServiceManager> chooseServiceManager(const core::Locations& locations) {
  return std::make_unique<LaunchdManager>(locations.home);
}

}  // namespace ferrin::relay
