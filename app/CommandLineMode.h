#pragma once
// The application without an interface: it applies the saved upstream again and prints the outcome in one
// line.

#include <filesystem>
#include <span>

#include "core/Locations.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::app {

/// Whether one of the arguments is the flag of this mode. All others are ignored.
bool isReferenceConfigurationRequested(std::span<const char* const> arguments);

/// Installs and starts the relay for the saved URL and key, which are read with a fallback to their legacy
/// names and first written back under the current ones. Throws LauncherError 6 when either is missing, before
/// anything is written, and what writeRestricted and installAndStartService throw.
void applyReferenceConfiguration(const core::Locations& locations, relay::ServiceManager& services,
                                 const std::filesystem::path& proxyResource);

/// The whole mode, for this process's user: applies, writes one line to standard output or, after a failure,
/// to standard error, and returns the exit status, 0 or 1.
int runReferenceConfiguration() noexcept;

}  // namespace ferrin::app
