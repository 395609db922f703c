#pragma once

#include <vector>

#include "relay/managers/ServiceManager.h"

namespace ferrin::relay {

/// The variables that name this process's proxies (curl(1), "ENVIRONMENT"), for a service that is to use the
/// same ones. A variable without a value is not set here: the service must not get it from its manager
/// either. Values may hold passwords.
std::vector<EnvironmentVariable> proxyVariables();

}  // namespace ferrin::relay
