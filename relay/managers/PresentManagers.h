#pragma once
// All service managers that serve this user, behind the interface of one.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The first manager runs the service. A relay that was applied when another one was preferred may still run
/// there and hold the port: so bootout and isRunning ask all of them.
class PresentManagers : public ServiceManager {
 public:
  /// The preferred manager comes first. With none, define and bootout do nothing, nothing is running, and
  /// everything that would start a service fails with `reasonForNone`.
  PresentManagers(std::vector<std::unique_ptr<ServiceManager>> managers, std::string reasonForNone);

  void define(const ServiceDefinition& definition) override;
  /// The result is the first manager's.
  CommandResult bootout(std::string_view label) override;
  CommandResult bootstrap(std::string_view label) override;
  CommandResult kickstart(std::string_view label) override;
  void leaveToAnother(std::string_view label) override;
  bool isRunning(std::string_view label) override;

 private:
  const std::vector<std::unique_ptr<ServiceManager>> managers;
  const CommandResult failure;
};

}  // namespace ferrin::relay
