#pragma once
// Whose process is at the other end.

#include <sys/types.h>

#include <optional>

namespace ferrin::qt {

/// The user of a local socket's peer; nothing when the system doesn't say.
std::optional<uid_t> peerUser(int socket);

}  // namespace ferrin::qt
