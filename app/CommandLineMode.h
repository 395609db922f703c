#pragma once
// The application without an interface: the saved upstream is applied again, and the outcome told in one
// line.

#include <filesystem>
#include <span>

#include "core/Locations.h"
#include "relay/ServiceManager.h"

namespace ferrin::app {

/// Whether one of the process's arguments asks for this mode. All others are ignored.
bool isReferenceConfigurationRequested(std::span<const char* const> arguments);

/// Installs and starts the relay for the saved URL and key, taken from their legacy names where they have no
/// current ones; both are rewritten under the current names first. Throws LauncherError 6 when either is
/// missing (nothing is written then), and what writeRestricted and installAndStartService throw.
void applyReferenceConfiguration(const core::Locations& locations, relay::ServiceManager& services,
                                 const std::filesystem::path& proxyResource);

/// The whole mode, for this process's user: applies, writes its one line to standard output or standard
/// error, and returns the exit status. Never throws.
int runReferenceConfiguration() noexcept;

}  // namespace ferrin::app
