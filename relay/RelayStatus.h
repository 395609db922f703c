#pragma once
// Whether the relay counts as running.

#include <string_view>

#include "core/Locations.h"
#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The first source that gives an answer decides: the running marker, with the outcome of the user's last
/// action; the service manager, where the relay runs under one of its labels; the agent's configuration, by
/// namesLocalRelay. A source that can't be read gives none; without any answer the relay is stopped. Never
/// throws. Blocks while the manager is asked.
bool detectRunningState(const core::Locations& locations, ServiceManager& services);

/// Whether a line of the agent's configuration sets a relay on this machine as its base URL.
bool namesLocalRelay(std::string_view configuration);

}  // namespace ferrin::relay
