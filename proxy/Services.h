#pragma once
// What all connections of one relay share. Made once, in main; outlives every connection. Everything runs on
// the event loop's one thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "proxy/AccessLog.h"
#include "proxy/KeyFile.h"
#include "proxy/Limits.h"
#include "proxy/Options.h"
#include "proxy/Timeouts.h"
#include "proxy/http/Guard.h"
#include "proxy/http/Heads.h"
#include "proxy/loop/FileWatch.h"
#include "proxy/upstream/Route.h"
#include "proxy/upstream/TlsContext.h"
#include "proxy/upstream/UpstreamPool.h"

namespace ferrin::proxy {

struct Services {
  /// `home` and `given` outlive this object. Throws std::system_error when the system can't watch the key
  /// file's notices.
  Services(EventLoop& home, const Options& given, int logDescriptor)
      : loop(home),
        options(given),
        timeouts(home.timers(), given.timeout),
        log(home, timeouts.logDelay, logDescriptor),
        key(given.apiKeyFile),
        keyWatch(home, given.apiKeyFile),
        routes(home, given.upstream),
        tls(home),
        pool(timeouts.upstream) {}
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;

  /// The key as its file held it when this turn of the event loop began; empty when there is none that can be
  /// used (KeyFile::problem). Valid until the next call. Throws std::bad_alloc.
  std::string_view currentKey() {
    if (keyWatch.mayHaveChanged()) lastKey = {};
    if (lastKey.empty()) lastKey = key.current();  // what could not be read is tried again each time
    return lastKey;
  }

  /// The way to the upstream for an exchange that begins. One that has no kept connection goes by the proxy
  /// settings of this moment. Throws std::bad_alloc.
  const std::shared_ptr<Route>& routeForNext(bool hasKept) {
    if (!hasKept && routes.refresh()) {
      pool.clear();
      log.note("the proxy settings have changed: " + routes.current()->description());
    }
    return routes.current();
  }

  EventLoop& loop;
  const Options& options;
  Timeouts timeouts;
  AccessLog log;
  KeyFile key;
  FileWatch keyWatch;
  Routes routes;
  TlsContext tls;
  UpstreamPool pool;

  OwnAddress own;               ///< where the relay listens
  std::size_t connections = 0;  ///< of clients
  std::size_t inFlight = 0;     ///< requests being forwarded
  bool stopping = false;        ///< no connection is kept for another request
  /// Until then WebSocket requests are refused untried, as the upstream did not answer one.
  Clock::time_point webSocketsRefusedUntil{};

  // Scratch memory, shared by all coroutines: valid from being filled to the next co_await, and not across a
  // call that may resume another coroutine (ExchangeState::fail and its like, CancellationSlot::cancel,
  // SingleConsumerEvent::set).
  std::array<char, blockBytes> block{};  ///< what was read last, from any stream
  RequestHead requestHead;               ///< the request head that was parsed last
  ResponseHead responseHead;             ///< the response head that was parsed last
  std::string clientHead;                ///< the head that is being written for a client

 private:
  std::string_view lastKey;
};

}  // namespace ferrin::proxy
