#pragma once
// macOS's launchd: per-user agents in the user's GUI domain.

#include <filesystem>
#include <string>
#include <string_view>

#include "relay/managers/ManagerTable.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The agent's definition as an XML property list. Throws std::invalid_argument for a value that XML can't
/// hold.
std::string propertyList(const ServiceDefinition& definition);

/// Defines a service in ~/Library/LaunchAgents/LABEL.plist (launchd.plist(5)). The definition has six keys,
/// none of them for an environment, so ServiceDefinition::environment is left out. The log's folder is not
/// made here: launchd makes it.
class LaunchdManager : public ServiceManager {
 public:
  /// Tests pass a stand-in for launchctl.
  explicit LaunchdManager(std::filesystem::path homeDirectory,
                          std::string launchctlProgram = "/bin/launchctl");

  /// Always there.
  static ManagerOrReason find(const UserSession& session);

  void define(const ServiceDefinition& definition) override;
  CommandResult bootout(std::string_view label) override;
  CommandResult bootstrap(std::string_view label) override;
  CommandResult kickstart(std::string_view label) override;
  void leaveToAnother(std::string_view label) override;
  bool isRunning(std::string_view label) override;

 private:
  std::filesystem::path propertyListURL(std::string_view label) const;

  const std::filesystem::path home;
  const std::string launchctl;
};

}  // namespace ferrin::relay
