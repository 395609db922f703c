#pragma once
// A user's home and the service manager that serves it. Which manager that is, is decided by the source that
// is linked.

#include <filesystem>
#include <memory>

#include "relay/ServiceManager.h"

namespace ferrin::tests {

/// When it goes, so does what the manager runs.
struct Machine {
  virtual ~Machine() = default;
  /// Ends what the manager runs with the user's session, and begins another session.
  virtual void logInAgain() = 0;

  std::filesystem::path home;
  std::unique_ptr<relay::ServiceManager> services;
  /// The relay script for installing, ready to start the relay.
  std::filesystem::path relayScript;
  /// Lines of the kernel's status of a service that runs.
  std::vector<std::string> confinement{"\nUmask:\t0077\n"};
};

/// With an empty home. One at a time.
std::unique_ptr<Machine> freshMachine();

}  // namespace ferrin::tests
