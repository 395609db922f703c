#pragma once
// runit's supervisor runsv(8), run by the user without privileges.

#include <filesystem>
#include <string>
#include <string_view>

#include "relay/managers/ManagerTable.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The script that runsv runs, and runs again whenever it ends. Throws std::invalid_argument for a NUL
/// character.
std::string runScript(const ServiceDefinition& definition);

/// The desktop entry that starts runsv at the next login.
std::string autostartEntry(const std::filesystem::path& runsv, const std::filesystem::path& serviceFolder);

/// Defines a service in ~/.local/share/ferrin-relay/sv/LABEL/run, and its start at login in
/// ~/.config/autostart/LABEL.desktop. The log's folder is made with it, as the service could not start
/// without. bootstrap starts a runsv that is detached from this process and runs until bootout.
class RunitManager : public ServiceManager {
 public:
  /// `programFolder` has runsv.
  explicit RunitManager(std::filesystem::path homeDirectory,
                        std::filesystem::path programFolder = "/usr/bin");

  /// Present where one of the program folders has runsv.
  static ManagerOrReason find(const UserSession& session);

  void define(const ServiceDefinition& definition) override;
  CommandResult bootout(std::string_view label) override;
  CommandResult bootstrap(std::string_view label) override;
  CommandResult kickstart(std::string_view label) override;
  void leaveToAnother(std::string_view label) override;
  bool isRunning(std::string_view label) override;

 private:
  std::filesystem::path supervisor() const { return programs / "runsv"; }
  std::filesystem::path serviceFolder(std::string_view label) const;
  std::filesystem::path autostartFile(std::string_view label) const;

  const std::filesystem::path home;
  const std::filesystem::path programs;
  std::filesystem::path definedProgram;
  std::filesystem::path definedLog;
};

}  // namespace ferrin::relay
