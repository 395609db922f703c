#include "relay/managers/PresentManagers.h"

#include <algorithm>
#include <utility>

namespace ferrin::relay {

PresentManagers::PresentManagers(std::vector<std::unique_ptr<ServiceManager>> present,
                                 std::string reasonForNone)
    : managers(std::move(present)), failure{1, std::move(reasonForNone)} {}

void PresentManagers::define(const ServiceDefinition& definition) {
  if (managers.empty()) return;
  managers.front()->define(definition);
  for (auto other = managers.begin() + 1; other != managers.end(); ++other)
    (*other)->leaveToAnother(definition.label);
}

CommandResult PresentManagers::bootout(std::string_view label) {
  if (managers.empty()) return failure;
  CommandResult result = managers.front()->bootout(label);
  for (auto other = managers.begin() + 1; other != managers.end(); ++other) (*other)->bootout(label);
  return result;
}

CommandResult PresentManagers::bootstrap(std::string_view label) {
  return managers.empty() ? failure : managers.front()->bootstrap(label);
}

CommandResult PresentManagers::kickstart(std::string_view label) {
  return managers.empty() ? failure : managers.front()->kickstart(label);
}

void PresentManagers::leaveToAnother(std::string_view label) {
  for (const auto& manager : managers) manager->leaveToAnother(label);
}

bool PresentManagers::isRunning(std::string_view label) {
  return std::any_of(managers.begin(), managers.end(),
                     [label](const auto& manager) { return manager->isRunning(label); });
}

}  // namespace ferrin::relay
