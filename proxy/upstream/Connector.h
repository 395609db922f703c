#pragma once
// New connections to the upstream: its name is looked up each time, its addresses are raced, TLS is agreed
// on.

#include <memory>
#include <string>

#include "proxy/loop/CancellationSlot.h"
#include "proxy/loop/Stream.h"
#include "proxy/loop/Task.h"
#include "proxy/upstream/AddressRace.h"
#include "proxy/upstream/NameLookups.h"
#include "proxy/upstream/TlsStream.h"
#include "proxy/upstream/UpstreamTimeouts.h"
#include "proxy/upstream/UpstreamURL.h"

namespace ferrin::proxy {

/// The result of connecting: a stream, or why there is none.
struct Connected {
  std::unique_ptr<Stream> stream;
  std::string problem;
};

/// One attempt to connect. What is passed in outlives it.
class Connector {
 public:
  Connector(EventLoop& home, UpstreamTimeouts& upstreamTimeouts, NameLookups& lookups, TlsContext& tlsContext,
            const UpstreamURL& url)
      : loop(home), timeouts(upstreamTimeouts), names(lookups), tls(tlsContext), upstream(url) {}
  Connector(const Connector&) = delete;
  Connector& operator=(const Connector&) = delete;

  /// Once. Throws std::bad_alloc.
  Task<Connected> open();
  /// Ends open(), whatever it waits for: within this call, or in the next turn of the event loop.
  void cancel();

 private:
  Task<Endpoints> resolve(std::string& problem);
  Task<FileDescriptor> raced(AddressRace& race);
  Task<Connected> secure(FileDescriptor socket);

  EventLoop& loop;
  UpstreamTimeouts& timeouts;
  NameLookups& names;
  TlsContext& tls;
  const UpstreamURL& upstream;
  CancellationSlot currentWait;
  bool cancelled = false;
  bool timedOut = false;
};

}  // namespace ferrin::proxy
