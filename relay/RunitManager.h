#pragma once
// runit's supervisor, run by the user: for Linux systems without a systemd user manager.

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "relay/ManagerTable.h"
#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// The script that runsv starts and, when it ends, starts again. Throws std::invalid_argument for a NUL
/// character.
std::string runScript(const ServiceDefinition& definition);

/// The desktop entry that supervises the service folder again at the next login.
std::string autostartEntry(const std::filesystem::path& runsv, const std::filesystem::path& serviceFolder);

/// Definitions are ~/.local/share/ferrin-relay/sv/LABEL/run and ~/.config/autostart/LABEL.desktop. The
/// supervisor is detached: it lives on without the application, and ends with bootout.
class RunitManager : public ServiceManager {
 public:
  /// `programFolder` holds runsv and sv.
  explicit RunitManager(std::filesystem::path homeDirectory,
                        std::filesystem::path programFolder = "/usr/bin");

  /// Present where one of the program folders has runsv.
  static ManagerOrReason find(const UserSession& session);

  void define(const ServiceDefinition& definition) override;
  CommandResult bootout(std::string_view label) override;
  CommandResult bootstrap(std::string_view label) override;
  CommandResult kickstart(std::string_view label) override;
  bool isRunning(std::string_view label) override;

 private:
  std::filesystem::path serviceFolder(std::string_view label) const;
  CommandResult sv(std::vector<std::string> order, std::string_view label) const;
  CommandResult awaitSupervisor(std::string_view label) const;
  bool hasOtherPid(std::string_view label, const std::string& pidBefore, std::chrono::seconds timeout) const;

  const std::filesystem::path home;
  const std::filesystem::path programs;
  std::filesystem::path definedProgram;
};

}  // namespace ferrin::relay
