#pragma once
// The user at the other end of a local socket.

#include <sys/types.h>

#include <optional>

namespace ferrin::qt {

/// The effective user of a connected socket's peer; no value when the system doesn't tell.
std::optional<uid_t> peerUser(int socket);

}  // namespace ferrin::qt
