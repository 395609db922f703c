#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {

PeerOwner ownerOfPeer(const ConnectionEnds&) noexcept { return PeerOwner::thisUser; }

void preparePeerQueries() noexcept {}

bool isAbandoned(const ConnectionEnds&) noexcept { return false; }

}  // namespace ferrin::proxy
