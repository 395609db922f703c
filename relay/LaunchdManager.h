#pragma once
// macOS's launchd: per-user agents in the user's GUI domain.

#include <filesystem>
#include <string>
#include <string_view>

#include "relay/ManagerTable.h"
#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// The agent's definition as an XML property list. Throws std::invalid_argument for a value that XML can't
/// hold.
std::string propertyList(const ServiceDefinition& definition);

/// Definitions are ~/Library/LaunchAgents/LABEL.plist. The log's folder is launchd's affair and is not made,
/// and the relay program is not told: these property lists have six keys, and an environment is none of them.
class LaunchdManager : public ServiceManager {
 public:
  explicit LaunchdManager(std::filesystem::path homeDirectory,
                          std::string launchctlProgram = "/bin/launchctl");

  /// Always there.
  static ManagerOrReason find(const UserSession& session);

  void define(const ServiceDefinition& definition) override;
  CommandResult bootout(std::string_view label) override;
  CommandResult bootstrap(std::string_view label) override;
  CommandResult kickstart(std::string_view label) override;
  bool isRunning(std::string_view label) override;

 private:
  std::filesystem::path propertyListURL(std::string_view label) const;

  const std::filesystem::path home;
  const std::string launchctl;
};

}  // namespace ferrin::relay
