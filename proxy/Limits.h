#pragma once
// Every time limit and size limit of the relay, in one place.

#include <chrono>
#include <cstddef>

#include "proxy/loop/Deadlines.h"
#include "proxy/upstream/UpstreamLimits.h"

namespace ferrin::proxy {

inline constexpr std::size_t maxConnections = 1024;
/// One read: what is forwarded at once, and the most that is kept per direction and stream.
inline constexpr std::size_t blockBytes = std::size_t{64} * 1024;

/// The lists of all limits by their length.
struct TimeLimits {
  TimeLimits(Deadlines& deadlines, std::chrono::seconds silenceLimit)
      : silence(deadlines, silenceLimit),
        head(deadlines, std::chrono::seconds(30)),
        idleClient(deadlines, std::chrono::seconds(75)),
        upstream(deadlines),
        recheck(deadlines, std::chrono::milliseconds(400)),
        logDelay(deadlines, std::chrono::milliseconds(100)),
        linger(deadlines, std::chrono::seconds(2)),
        drain(deadlines, std::chrono::seconds(4)) {}

  DeadlineList silence;     ///< no byte in either direction of an exchange
  DeadlineList head;        ///< from a request head's first byte to its last
  DeadlineList idleClient;  ///< a client's connection between requests
  UpstreamLimits upstream;
  DeadlineList recheck;   ///< between looks at whether a client whose bytes wait unread is still there
  DeadlineList logDelay;  ///< before the lines of exchanges are written, many at once
  DeadlineList linger;    ///< to read on after an early answer, so that it isn't lost in a reset
  DeadlineList drain;     ///< for exchanges to end after SIGTERM
};

}  // namespace ferrin::proxy
