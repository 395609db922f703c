#pragma once
// Connections to the upstream that wait for their next request.

#include <list>
#include <memory>

#include "proxy/loop/Stream.h"
#include "proxy/upstream/UpstreamLimits.h"

namespace ferrin::proxy {

class UpstreamPool {
 public:
  explicit UpstreamPool(UpstreamLimits& timeLimits) : limits(timeLimits) {}

  /// The connection that was used last and is still open and quiet, or nothing.
  std::unique_ptr<Stream> take();
  /// Keeps `stream`, on which nothing is under way, until it is taken, closed by the other side, or has been
  /// idle for too long.
  void keep(std::unique_ptr<Stream> stream);

 private:
  /// A connection at rest. What arrives on it then, its end in most cases, makes it unfit.
  struct Idle {
    explicit Idle(UpstreamPool& pool) : limit([this, &pool] { pool.release(*this); }) {}
    std::list<Idle>::iterator self;
    std::unique_ptr<Stream> stream;
    Deadline limit;
  };
  void stirred(Idle& entry);
  std::unique_ptr<Stream> release(Idle& entry);

  UpstreamLimits& limits;
  std::list<Idle> idle;
  std::list<Idle> vacant;  ///< to be used again, so that keeping a connection takes no memory
};

}  // namespace ferrin::proxy
