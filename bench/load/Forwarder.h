#pragma once

#include <cstdint>

namespace ferrin::bench {

/// Forwards bytes from `listen` to `connect` and back, a connection for each, until it is killed: what any
/// proxy has to ask of the system, and nothing else. One receive and one send for each message,
/// edge-triggered, no HTTP, no log. The least that a proxy can cost on this machine.
[[noreturn]] void forward(std::uint16_t listen, std::uint16_t connect);

}  // namespace ferrin::bench
