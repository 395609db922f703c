#pragma once
// What all connections of one relay share. Everything runs on the event loop's one thread.

#include <array>
#include <cstddef>
#include <string>

#include "proxy/AccessLog.h"
#include "proxy/KeyFile.h"
#include "proxy/Limits.h"
#include "proxy/Options.h"
#include "proxy/http/Heads.h"
#include "proxy/loop/Deadlines.h"
#include "proxy/loop/FileWatch.h"
#include "proxy/upstream/NameLookups.h"
#include "proxy/upstream/Tls.h"
#include "proxy/upstream/UpstreamPool.h"

namespace ferrin::proxy {

struct Services {
  Services(EventLoop& home, const Options& given, int logDescriptor)
      : loop(home),
        options(given),
        limits(home.deadlines(), given.timeout),
        log(home, limits.logDelay, logDescriptor),
        key(given.apiKeyFile),
        keyWatch(home, given.apiKeyFile),
        names(home, [url = given.upstream] { return lookUp(url.host, url.port); }),
        tls(home),
        pool(limits.upstream) {}
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;

  /// The key as its file had it when this turn of the event loop began. Until the next call.
  std::string_view currentKey() {
    if (keyWatch.mayHaveChanged()) lastKey = key.current();
    return lastKey;
  }

  EventLoop& loop;
  const Options& options;
  TimeLimits limits;
  AccessLog log;
  KeyFile key;
  FileWatch keyWatch;
  NameLookups names;
  TlsContext tls;
  UpstreamPool pool;

  std::uint16_t port = 0;       ///< where the relay listens
  std::size_t connections = 0;  ///< of clients
  std::size_t inFlight = 0;     ///< requests being forwarded
  bool stopping = false;        ///< no connection is kept for another request

  /// What is being read right now, by whichever stream reads: nobody may count on it across a wait.
  std::array<char, blockBytes> block{};
  /// The heads that were parsed last, likewise, and one that is being written.
  RequestHead request;
  AnswerHead answer;
  std::string head;

 private:
  std::string_view lastKey;
};

}  // namespace ferrin::proxy
