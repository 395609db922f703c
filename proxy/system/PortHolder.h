#pragma once

#include <cstdint>
#include <string>

namespace ferrin::proxy {

/// The process that listens on loopback port `port`, as "name (process 123)"; empty where the system doesn't
/// tell.
std::string holderOfPort(std::uint16_t port);

}  // namespace ferrin::proxy
