#include "proxy/UpstreamPool.h"

namespace ferrin::proxy {

std::unique_ptr<Stream> UpstreamPool::take() {
  while (!idle.empty()) {
    std::unique_ptr<Stream> stream = std::move(idle.back()->stream);
    idle.pop_back();
    stream->socket().unwatch();
    if (stream->quiet()) return stream;
  }
  return nullptr;
}

void UpstreamPool::keep(std::unique_ptr<Stream> stream) {
  const Position position = idle.emplace(idle.end());
  *position = std::make_unique<Idle>(std::move(stream), [this, position] { expire(position); });
  (*position)->limit.start(limits.idleUpstream);
  (*position)->stream->socket().watch([this, position] { stirred(position); });
}

void UpstreamPool::expire(Position position) {
  idle.erase(position);
  if (idle.empty() && expired) expired();
}

/// TLS moves bytes of its own now and then; only those leave the connection fit.
void UpstreamPool::stirred(Position position) {
  if (!(*position)->stream->quiet()) idle.erase(position);
}

}  // namespace ferrin::proxy
