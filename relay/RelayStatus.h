#pragma once
// Whether the relay is taken to be running.

#include <string_view>

#include "core/Locations.h"
#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// The first source that knows decides: the running marker, which records what the user last asked for; the
/// service manager, for both labels; the agent's configuration, where it names the relay. A source that can't
/// be read knows nothing; never fails. Blocks while the manager is asked.
bool detectRunningState(const core::Locations& locations, ServiceManager& services);

/// Whether a line of the agent's configuration sends it to a relay on this machine.
bool namesLocalRelay(std::string_view configuration);

}  // namespace ferrin::relay
