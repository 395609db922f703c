#pragma once
// The time limits of connections to the upstream.

#include <chrono>

#include "proxy/loop/Deadlines.h"

namespace ferrin::proxy {

struct UpstreamLimits {
  explicit UpstreamLimits(Deadlines& deadlines)
      : idle(deadlines, std::chrono::seconds(50)),
        connect(deadlines, std::chrono::seconds(10)),
        nextAddress(deadlines, std::chrono::milliseconds(250)) {}

  DeadlineList idle;     ///< a connection kept for the next request: below the 60 s after which many servers close theirs
  DeadlineList connect;  ///< to be connected; and again for TLS
  DeadlineList
      nextAddress;  ///< before the next address is tried as well (RFC 8305, "Connection Attempt Delay")
};

}  // namespace ferrin::proxy
