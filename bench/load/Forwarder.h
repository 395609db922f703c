#pragma once

#include <cstdint>
#include <string>

namespace ferrin::bench {

/// Forwards bytes from `listen` to `connect` and back, a connection for each, until it is killed: what any
/// proxy has to ask of the system and of the TLS library, and nothing else. One receive and one send for each
/// message, one epoll_wait for all that are ready, no HTTP, no log. With `rootsFile` the side that connects
/// speaks TLS: one more SSL_read or SSL_write for each message. The least that a proxy can cost on this
/// machine.
[[noreturn]] void forward(std::uint16_t listen, std::uint16_t connect, const std::string& rootsFile);

}  // namespace ferrin::bench
