#include "proxy/upstream/UpstreamPool.h"

namespace ferrin::proxy {

std::unique_ptr<Stream> UpstreamPool::take() {
  while (!idle.empty()) {
    std::unique_ptr<Stream> stream = release(idle.back());
    if (stream->quiet()) return stream;
  }
  return nullptr;
}

void UpstreamPool::keep(std::unique_ptr<Stream> stream) {
  if (vacant.empty()) vacant.emplace_back(*this);
  Idle& entry = vacant.front();
  entry.self = vacant.begin();
  idle.splice(idle.end(), vacant, entry.self);
  entry.stream = std::move(stream);
  entry.limit.start(limits.idle);
  entry.stream->socket().watch([this, &entry] { stirred(entry); });
}

std::unique_ptr<Stream> UpstreamPool::release(Idle& entry) {
  vacant.splice(vacant.begin(), idle, entry.self);
  entry.limit.stop();
  entry.stream->socket().unwatch();
  return std::move(entry.stream);
}

/// TLS moves bytes of its own now and then; only those leave the connection fit.
void UpstreamPool::stirred(Idle& entry) {
  if (!entry.stream->quiet()) release(entry);
}

}  // namespace ferrin::proxy
