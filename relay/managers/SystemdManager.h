#pragma once
// The systemd user manager.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "relay/managers/ManagerTable.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The service's unit file. Throws std::invalid_argument for a value that a unit can't hold.
std::string systemdUnit(const ServiceDefinition& definition);

/// Defines a service in LABEL.service (systemd.service(5)), in the folder where the manager looks for the
/// user's own units, ~/.config/systemd/user in most cases, and makes the log's folder: without it the service
/// would not start. bootout leaves the unit enabled, so that the next login starts it again.
class SystemdManager : public ServiceManager {
 public:
  /// `runtimeFolder` is the user's XDG_RUNTIME_DIR, where the manager listens.
  SystemdManager(std::filesystem::path homeDirectory, std::filesystem::path runtimeFolder,
                 std::string systemctlProgram = "/usr/bin/systemctl");

  /// Present where its socket lies below the runtime folder.
  static ManagerOrReason find(const UserSession& session);

  void define(const ServiceDefinition& definition) override;
  CommandResult bootout(std::string_view label) override;
  CommandResult bootstrap(std::string_view label) override;
  CommandResult kickstart(std::string_view label) override;
  void leaveToAnother(std::string_view label) override;
  bool isRunning(std::string_view label) override;

 private:
  CommandResult systemctl(std::vector<std::string> arguments) const;
  std::filesystem::path unitFolder() const;

  const std::filesystem::path home;
  const std::filesystem::path runtime;
  const std::string program;
  std::filesystem::path definedProgram;
};

}  // namespace ferrin::relay
