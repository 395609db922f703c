#pragma once

#include <vector>

#include "relay/ServiceManager.h"

namespace ferrin::relay {

/// The variables by which this process finds its proxies (curl(1), "ENVIRONMENT"), for a service that is to
/// find the same: those that are not set here are withheld from it. They may hold passwords.
std::vector<EnvironmentVariable> proxyVariables();

}  // namespace ferrin::relay
