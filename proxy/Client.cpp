#include "proxy/Client.h"

namespace ferrin::proxy {

Client::Client(EventLoop& loop, FileDescriptor connected)
    : ends(endsOf(connected.get())), stream(loop, std::move(connected)) {}

bool Client::hasGone() const noexcept { return stream.hungUp() || !ends || isAbandoned(*ends); }

}  // namespace ferrin::proxy
