#include "proxy/system/PeerSocket.h"

#include <unistd.h>

#include "proxy/system/macos/SocketListing.h"

namespace ferrin::proxy {

PeerOwner ownerOfPeer(const ConnectionEnds& ends) noexcept {
  const auto list = listSockets();
  return list ? ownerOfPeer(*list, ends, getuid()) : PeerOwner::unknown;
}

/// Asking takes no descriptor.
void preparePeerQueries() noexcept {}

bool isAbandoned(const ConnectionEnds& ends) noexcept {
  const auto list = listSockets();
  return list && isAbandoned(*list, ends);
}

}  // namespace ferrin::proxy
