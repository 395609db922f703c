#include "proxy/upstream/UpstreamPool.h"

#include <new>

namespace ferrin::proxy {

/// A connection whose time is over may still be there when the machine has just woken up.
std::unique_ptr<Stream> UpstreamPool::take() {
  while (!idle.empty()) {
    const bool overdue = idle.back().limit.isOverdue();
    std::unique_ptr<Stream> stream = release(idle.back());
    if (!overdue && stream->isReusable()) return stream;
  }
  return nullptr;
}

void UpstreamPool::clear() noexcept {
  while (!idle.empty()) release(idle.back());
}

void UpstreamPool::keep(std::unique_ptr<Stream> stream) noexcept {
  try {
    if (vacant.empty()) vacant.emplace_back(*this);
  } catch (const std::bad_alloc&) {
    return;
  }
  Idle& entry = vacant.front();
  entry.self = vacant.begin();
  idle.splice(idle.end(), vacant, entry.self);
  entry.stream = std::move(stream);
  entry.limit.start(timeouts.idle);
  entry.stream->socket().watchActivity([this, &entry] { checkAfterActivity(entry); });
}

std::unique_ptr<Stream> UpstreamPool::release(Idle& entry) noexcept {
  vacant.splice(vacant.begin(), idle, entry.self);
  entry.limit.stop();
  entry.stream->socket().unwatchActivity();
  return std::move(entry.stream);
}

/// TLS moves bytes of its own now and then, session tickets for example; only those leave the connection fit.
void UpstreamPool::checkAfterActivity(Idle& entry) noexcept {
  if (!entry.stream->isReusable()) release(entry);
}

}  // namespace ferrin::proxy
