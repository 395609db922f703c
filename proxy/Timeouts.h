#pragma once
// The relay's time limits.

#include <chrono>

#include "proxy/loop/Timers.h"
#include "proxy/upstream/UpstreamTimeouts.h"

namespace ferrin::proxy {

struct Timeouts {
  Timeouts(TimerService& timers, std::chrono::seconds silenceLimit)
      : silence(timers, silenceLimit),
        head(timers, std::chrono::seconds(30)),
        idleClient(timers, std::chrono::seconds(75)),
        recheck(timers, std::chrono::milliseconds(400)),
        logDelay(timers, std::chrono::milliseconds(100)),
        linger(timers, std::chrono::seconds(2)),
        webSocket(timers, std::chrono::seconds(5)),
        upstream(timers) {}

  TimerQueue silence;  ///< no byte in either direction of an exchange
  TimerQueue head;     ///< from a request head's first byte to its last; also between two bytes that a client
                       ///< takes of the relay's own response
  TimerQueue idleClient;  ///< a client's connection between requests
  TimerQueue recheck;     ///< between checks whether a client whose bytes wait unread is still there, or
                          ///< whether connections can be accepted again
  TimerQueue logDelay;    ///< before the lines of exchanges are written, many at once
  TimerQueue linger;      ///< for reading on after the last response, so that no reset overtakes it
  TimerQueue webSocket;   ///< for the upstream to answer a WebSocket request at all
  UpstreamTimeouts upstream;
};

}  // namespace ferrin::proxy
