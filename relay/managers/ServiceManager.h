#pragma once
// A service manager of the user's, whichever the system has: the seam between the application and launchd,
// systemd and others.

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/Locations.h"
#include "relay/system/Command.h"

namespace ferrin::relay {

/// A variable of a service's environment.
struct EnvironmentVariable {
  std::string name;
  std::optional<std::string> value;  ///< none withholds what the manager itself has by this name
};

/// What every manager's definition holds. Every manager also starts the service at login, restarts it
/// whenever it exits, and appends both of its streams to the log file.
struct ServiceDefinition {
  std::string label;
  /// The program, an absolute path, and its arguments.
  std::vector<std::string> commandLine;
  std::filesystem::path logFile;
  /// Changes of the environment that the manager gives its services; for managers whose definition can hold
  /// any.
  std::vector<EnvironmentVariable> environment = {};
};

/// Every call blocks until the manager has answered, and runs external programs for that. Only `define`
/// throws: the others return the exit status and the output of the program that failed. Safe from any thread,
/// as long as one thread at a time works on a label.
class ServiceManager {
 public:
  virtual ~ServiceManager() = default;

  /// Writes the definition where the manager looks for it, for its owner alone, replacing an earlier one
  /// whole; missing folders are made. Starts nothing. Throws the platform's file error, or
  /// std::invalid_argument where the manager's format can't hold a value.
  virtual void define(const ServiceDefinition& definition) = 0;

  /// Stops the service and unloads it until the next login or bootstrap. The definition stays. Where there is
  /// no such service, fails and changes nothing.
  virtual CommandResult bootout(std::string_view label) = 0;

  /// Loads the definition of `label`, which this object has written last. Only launchd also starts the
  /// service then; kickstart does it for all. The output of a failure is shown to the user.
  virtual CommandResult bootstrap(std::string_view label) = 0;

  /// Ends the running process, if any, and starts another; returns after the old one has ended.
  virtual CommandResult kickstart(std::string_view label) = 0;

  /// Has the service not started at login any more, as a manager that comes before this one in the table has
  /// been given it. Best effort.
  virtual void leaveToAnother(std::string_view label) = 0;

  /// False, too, when the manager gives no answer.
  virtual bool isRunning(std::string_view label) = 0;
};

/// The first manager of this system's table (ManagerTable.h) that serves this process's user. Its bootout
/// also ends what another manager of the table runs under the label, and its define keeps that one from
/// starting it at the next login. Where the user has none, the result can
/// start nothing, and the output of its failures says what to install.
std::unique_ptr<ServiceManager> chooseServiceManager(const core::Locations& locations);

}  // namespace ferrin::relay
