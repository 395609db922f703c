#pragma once
// New connections to the upstream: the name is looked up each time, its addresses are raced, TLS is agreed
// on.

#include <memory>
#include <string>

#include "proxy/loop/Stream.h"
#include "proxy/loop/Task.h"
#include "proxy/upstream/AddressRace.h"
#include "proxy/upstream/NameLookups.h"
#include "proxy/upstream/Tls.h"
#include "proxy/upstream/UpstreamLimits.h"
#include "proxy/upstream/UpstreamURL.h"

namespace ferrin::proxy {

/// What connecting came to: a stream, or why not.
struct Connected {
  std::unique_ptr<Stream> stream;
  std::string problem;
};

/// One attempt to connect. cancel() ends it, whatever it is waiting for, at once or in the next turn of the
/// event loop; it may resume the coroutine that awaits open(). The object stays until open() is done.
class Connector {
 public:
  Connector(EventLoop& home, UpstreamLimits& timeLimits, NameLookups& lookups, TlsContext& tlsContext,
            const UpstreamURL& url)
      : loop(home), limits(timeLimits), names(lookups), tls(tlsContext), upstream(url) {}
  Connector(const Connector&) = delete;
  Connector& operator=(const Connector&) = delete;

  Task<Connected> open();
  void cancel();

 private:
  Task<Endpoints> resolve(std::string& problem);
  Task<Connected> secure(Descriptor socket);

  EventLoop& loop;
  UpstreamLimits& limits;
  NameLookups& names;
  TlsContext& tls;
  const UpstreamURL& upstream;
  // What is waited for at the moment: one of these at most.
  NameLookups::Wait* lookup = nullptr;
  AddressRace* race = nullptr;
  Socket* handshaking = nullptr;
  bool cancelled = false;
  bool timedOut = false;
};

}  // namespace ferrin::proxy
