#pragma once
// What stands in where this user has no service manager.

#include <string>
#include <string_view>

#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// Defines nothing and runs nothing; whatever would start a service fails with `reason`.
class AbsentManager : public ServiceManager {
 public:
  explicit AbsentManager(std::string reason);

  void define(const ServiceDefinition&) override {}
  CommandResult bootout(std::string_view) override { return failure; }
  CommandResult bootstrap(std::string_view) override { return failure; }
  CommandResult kickstart(std::string_view) override { return failure; }
  bool isRunning(std::string_view) override { return false; }

 private:
  const CommandResult failure;
};

}  // namespace ferrin::relay
