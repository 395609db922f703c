#pragma once
// Connections to the upstream that wait for their next request.

#include <functional>
#include <list>
#include <memory>

#include "proxy/Limits.h"
#include "proxy/Stream.h"

namespace ferrin::proxy {

class UpstreamPool {
 public:
  explicit UpstreamPool(TimeLimits& timeLimits) : limits(timeLimits) {}

  /// The connection that was used last and is still open and quiet, or nothing.
  std::unique_ptr<Stream> take();
  /// Keeps `stream`, on which nothing is under way, until it is taken, closed by the other side, or has been
  /// idle for too long.
  void keep(std::unique_ptr<Stream> stream);
  /// Has `told` called when the last connection has been idle for too long.
  void onExpiry(std::function<void()> told) { expired = std::move(told); }

 private:
  struct Idle;
  using Position = std::list<std::unique_ptr<Idle>>::iterator;
  void stirred(Position position);
  void expire(Position position);

  TimeLimits& limits;
  std::list<std::unique_ptr<Idle>> idle;
  std::function<void()> expired;
};

/// A connection at rest. What arrives on it then, its end in most cases, makes it unfit.
struct UpstreamPool::Idle {
  explicit Idle(std::unique_ptr<Stream> kept, std::function<void()> onExpiry)
      : stream(std::move(kept)), limit(std::move(onExpiry)) {}
  std::unique_ptr<Stream> stream;
  Deadline limit;
};

}  // namespace ferrin::proxy
