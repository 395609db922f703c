#pragma once

#include <list>
#include <memory>

#include "proxy/loop/Stream.h"
#include "proxy/upstream/UpstreamTimeouts.h"

namespace ferrin::proxy {

/// Connections to the upstream that wait for their next request. It owns them, and closes each when the peer
/// has closed it, or has sent something unasked, or after UpstreamTimeouts::idle. On the loop's thread.
class UpstreamPool {
 public:
  explicit UpstreamPool(UpstreamTimeouts& upstreamTimeouts) : timeouts(upstreamTimeouts) {}
  UpstreamPool(const UpstreamPool&) = delete;
  UpstreamPool& operator=(const UpstreamPool&) = delete;

  /// The connection that was used last and is still fit for a request, or nothing.
  std::unique_ptr<Stream> take();
  /// Closes all of them.
  void clear() noexcept;
  /// Keeps `stream`, on which nothing is under way. Without the memory for that it is closed.
  void keep(std::unique_ptr<Stream> stream) noexcept;

 private:
  struct Idle {
    explicit Idle(UpstreamPool& pool) : limit([this, &pool] { pool.release(*this); }) {}
    std::list<Idle>::iterator self;
    std::unique_ptr<Stream> stream;
    Timer limit;
  };
  void checkAfterActivity(Idle& entry) noexcept;
  std::unique_ptr<Stream> release(Idle& entry) noexcept;

  UpstreamTimeouts& timeouts;
  std::list<Idle> idle;
  std::list<Idle> vacant;  ///< entries to be used again, so that keeping a connection usually takes no memory
};

}  // namespace ferrin::proxy
