#include <sys/socket.h>

#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {

std::optional<ConnectionEnds> endsOf(int descriptor) noexcept {
  ConnectionEnds ends;
  auto peerSize = static_cast<socklen_t>(ends.peer.capacity());
  auto localSize = static_cast<socklen_t>(ends.local.capacity());
  if (getpeername(descriptor, ends.peer.data(), &peerSize) != 0) return std::nullopt;
  if (getsockname(descriptor, ends.local.data(), &localSize) != 0) return std::nullopt;
  return ends;
}

}  // namespace ferrin::proxy
