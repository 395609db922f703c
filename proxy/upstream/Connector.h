#pragma once
// New connections to the upstream: a name is looked up each time, the upstream's or its proxy's, its
// addresses are raced, the proxy is asked for a tunnel, TLS is agreed on.

#include <memory>
#include <string>

#include "proxy/http/RelayError.h"
#include "proxy/loop/CancellationSlot.h"
#include "proxy/loop/Stream.h"
#include "proxy/loop/Task.h"
#include "proxy/upstream/AddressRace.h"
#include "proxy/upstream/Route.h"
#include "proxy/upstream/TlsStream.h"
#include "proxy/upstream/UpstreamTimeouts.h"

namespace ferrin::proxy {

/// The result of connecting: a stream, or why there is none.
struct Connected {
  std::unique_ptr<Stream> stream;
  std::string problem;
  RelayError error = RelayError::upstreamUnreachable;  ///< which kind of problem
};

/// One attempt to connect. What is passed in outlives it.
class Connector {
 public:
  Connector(EventLoop& home, UpstreamTimeouts& upstreamTimeouts, Route& way, TlsContext& tlsContext)
      : loop(home), timeouts(upstreamTimeouts), route(way), tls(tlsContext) {}
  Connector(const Connector&) = delete;
  Connector& operator=(const Connector&) = delete;

  /// Once. Throws std::bad_alloc.
  Task<Connected> open();
  /// Ends open(), whatever it waits for: a look-up, addresses and roots within this call, a proxy or a
  /// handshake as Socket::interrupt does.
  void cancel();

 private:
  Task<Endpoints> resolve(Place& place, std::string& problem);
  Task<FileDescriptor> raced(AddressRace& race);
  Task<Connected> begin(FileDescriptor socket, Timer& limit);
  Task<Connected> tunnel(Stream& proxySide);
  Task<> rootsRead();
  Task<Connected> secure(FileDescriptor socket);
  void explain(Connected& result) const;

  EventLoop& loop;
  UpstreamTimeouts& timeouts;
  Route& route;
  TlsContext& tls;
  CancellationSlot currentWait;
  bool cancelled = false;
  bool timedOut = false;
  bool atProxy = false;  ///< failures now are the proxy's, and named so
};

}  // namespace ferrin::proxy
