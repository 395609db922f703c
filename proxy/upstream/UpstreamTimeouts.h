#pragma once
// The time limits of connections to the upstream.

#include <chrono>

#include "proxy/loop/Timers.h"

namespace ferrin::proxy {

struct UpstreamTimeouts {
  explicit UpstreamTimeouts(TimerService& timers)
      : idle(timers, std::chrono::seconds(50)),
        connect(timers, std::chrono::seconds(10)),
        nextAddress(timers, std::chrono::milliseconds(250)) {}

  TimerQueue idle;     ///< a connection kept for the next request; many servers close theirs after 60 s
  TimerQueue connect;  ///< to be connected; and again for TLS
  TimerQueue
      nextAddress;  ///< before the next address is tried as well (RFC 8305, "Connection Attempt Delay")
};

}  // namespace ferrin::proxy
