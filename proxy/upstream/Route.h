#pragma once
// How the upstream is reached: directly, or through a proxy.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/http/HeadRewriting.h"
#include "proxy/upstream/NameLookups.h"
#include "proxy/upstream/Proxy.h"
#include "proxy/upstream/UpstreamURL.h"

namespace ferrin::proxy {

/// A host, and the look-ups of its name.
struct Place {
  Place(EventLoop& loop, const std::string& hostName, std::uint16_t hostPort)
      : host(hostName),
        port(hostPort),
        lookups(loop, [hostName, hostPort] { return lookUp(hostName, hostPort); }) {}

  const std::string host;
  const std::uint16_t port;
  NameLookups lookups;
};

/// One way to the upstream. It stays as it is made; Routes makes another one. On the loop's thread.
class Route {
 public:
  /// `url` outlives this object.
  Route(EventLoop& loop, const UpstreamURL& url, const ProxySettings& settings);

  const UpstreamURL& upstream;
  std::optional<Proxy> proxy;
  std::string problem;  ///< why the proxy that is set can't be used; else empty
  Place destination;
  Addressing addressing;  ///< of the requests' heads

  /// Where connections are made to: the proxy, or the upstream itself.
  Place& firstHop() { return proxyPlace ? *proxyPlace : destination; }
  /// Whether the proxy is asked for a tunnel first.
  bool tunnels() const { return proxy && !asksProxy(); }
  /// Whether requests are sent to the proxy in absolute form, which may answer them itself: an HTTP proxy
  /// for an http:// upstream.
  bool asksProxy() const { return proxy && proxy->kind == Proxy::Kind::http && !upstream.secure; }
  /// The proxy for the log; empty where there is none.
  std::string_view via() const { return proxy ? std::string_view(proxy->name) : ""; }
  /// For the log: the upstream, the proxy, and what is not followed of the settings.
  std::string description() const;

 private:
  std::optional<Place> proxyPlace;
  const std::string note;
};

/// The route as the proxy settings have it, which may change while the relay runs.
class Routes {
 public:
  /// `url` outlives this object and its routes.
  Routes(EventLoop& home, const UpstreamURL& url);

  /// Whoever uses a route keeps it: it is replaced when the settings change.
  const std::shared_ptr<Route>& current() const { return route; }
  /// Reads the settings. True when there is another route since. Throws std::bad_alloc, and changes nothing
  /// then.
  bool refresh();

 private:
  EventLoop& loop;
  const UpstreamURL& upstream;
  const std::string address;
  ProxySettings settings;
  std::shared_ptr<Route> route;
};

}  // namespace ferrin::proxy
