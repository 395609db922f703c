#pragma once
// What the application asks of the system's per-user service manager, whichever it is.

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/Locations.h"
#include "relay/Command.h"

namespace ferrin::relay {

/// The facts that every manager's definition holds. All of them also start the service at login, restart it
/// whenever it exits, and append both of its streams to the one log file.
struct ServiceDefinition {
  std::string label;
  /// The program, an absolute path, and its arguments.
  std::vector<std::string> commandLine;
  std::filesystem::path logFile;
  /// Told to the service as $FERRIN_RELAY_PROGRAM, by managers whose definition has a place for that; empty
  /// when there is nothing to tell.
  std::filesystem::path relayProgram = {};
};

/// Every call blocks until the manager has answered. Safe from any thread, as long as a label is defined and
/// started by one thread at a time.
class ServiceManager {
 public:
  virtual ~ServiceManager() = default;

  /// Writes the definition where the manager looks for it, for its owner alone, replacing an earlier one
  /// whole; missing folders are made. Starts nothing. Throws the platform's file error, or
  /// std::invalid_argument where the manager's format can't hold a value.
  virtual void define(const ServiceDefinition& definition) = 0;

  /// Stops the service and forgets it until the next login or bootstrap. The definition stays. Fails,
  /// harmlessly, where there is no such service.
  virtual CommandResult bootout(std::string_view label) = 0;

  /// Takes up the definition that this object has last written, for `label`, and starts it. The output of a
  /// failure is for a person.
  virtual CommandResult bootstrap(std::string_view label) = 0;

  /// Ends the running instance, if any, and starts it again; returns once the old one is gone.
  virtual CommandResult kickstart(std::string_view label) = 0;

  virtual bool isRunning(std::string_view label) = 0;
};

/// The first manager of this system's table (ManagerTable.h) that serves this process's user. Its bootout
/// also ends what another manager of the table runs under the label. Where the user has none, the result can
/// start nothing, and the output of its failures says what to install.
std::unique_ptr<ServiceManager> chooseServiceManager(const core::Locations& locations);

}  // namespace ferrin::relay
