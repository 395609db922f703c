#pragma once
// Installing, starting and stopping the relay as a service of this user.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/Locations.h"
#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// The relay's program and arguments. The key is not among them, only the file that holds it.
std::vector<std::string> relayCommandLine(const core::Locations& locations, std::string_view upstream);

/// Installs the relay script unless something lies in its place already (an installed script is never touched
/// again), defines the service for the URL now in `upstreamURLFile`, and starts it, or starts it afresh.
/// `proxyResource` is the script that came with the application; the relay program that came with both is
/// what the definition tells the installed script, which may be older.
///
/// The first step that fails ends it, and nothing done before is undone. Throws LauncherError (2 without a
/// script, 3 without an upstream URL, else the manager's status and output) and the platform's file errors.
/// Whether the relay then listens is not looked at.
void installAndStartService(const core::Locations& locations, ServiceManager& services,
                            const std::filesystem::path& proxyResource);

/// Stops the relay under both of its labels, whatever the manager answers. Files stay as they are.
void stopServices(ServiceManager& services);

}  // namespace ferrin::relay
