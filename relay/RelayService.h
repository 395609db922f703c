#pragma once
// Installing, starting and stopping the relay (the program of proxy/) as a service of this user.

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/Locations.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The relay's program and arguments. They name the file with the key, never the key.
std::vector<std::string> relayCommandLine(const core::Locations& locations, std::string_view upstream);

/// Installs the relay script unless a file is in its place already (an installed script is never changed),
/// defines the service for the URL in `upstreamURLFile`, and starts or restarts it. `proxyResource` is the
/// script that comes with the application; the definition tells the installed script, which may be older,
/// where the relay program of this application is. It also has this process's proxy variables, so that the
/// relay goes the way that this process goes.
///
/// Stops at the first step that fails; earlier steps are not undone. Throws LauncherError (2 without a
/// script, 3 without an upstream URL, else the manager's status and output) and the file system's errors.
/// Does not wait until the relay listens. Blocks while the manager works; one call at a time, on any thread.
void installAndStartService(const core::Locations& locations, ServiceManager& services,
                            const std::filesystem::path& proxyResource);

/// Stops the relay under both of its labels and ignores what the manager answers. Changes no file. Never
/// throws; blocks.
void stopServices(ServiceManager& services);

}  // namespace ferrin::relay
