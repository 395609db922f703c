#include "proxy/Client.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t usualPendingBytes = 4096;  // what most heads fit in; kept for the next one

}  // namespace

Client::Client(EventLoop& loop, FileDescriptor connected)
    : ends(endsOf(connected.get())), stream(loop, std::move(connected)) {}

bool Client::hasGone() const noexcept { return stream.hungUp() || !ends || isAbandoned(*ends); }

void Client::dropPending(std::size_t count) noexcept {
  pending.erase(0, count);
  if (pending.empty() && pending.capacity() > usualPendingBytes) std::string().swap(pending);
}

}  // namespace ferrin::proxy
