#pragma once
// A user's home and the service manager that serves it, new for each test. Which manager that is, is decided
// by the source that is linked.

#include <filesystem>
#include <memory>

#include "relay/ServiceManager.h"

namespace ferrin::tests {

class Machine {
 public:
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;
  /// Ends what the manager runs for this home.
  ~Machine();

  const std::filesystem::path& home() const;
  relay::ServiceManager& services();
  /// The relay script for installing, ready to start the relay.
  const std::filesystem::path& relayScript() const;

 private:
  struct Parts;
  std::unique_ptr<Parts> parts;
};

}  // namespace ferrin::tests
