#include "proxy/upstream/Route.h"

#include <stdexcept>

#include "proxy/upstream/ProxyTunnel.h"

namespace ferrin::proxy {

Route::Route(EventLoop& loop, const UpstreamURL& url, const ProxySettings& settings)
    : upstream(url), destination(loop, url.host, url.port), addressing{.host = url.hostField} {
  if (!url.problem.empty()) return;
  try {
    proxy = proxyFor(url, settings);
  } catch (const std::invalid_argument& reason) {
    problem = reason.what();
  }
  if (proxy) proxyPlace.emplace(loop, proxy->host, proxy->port);
  if (asksProxy()) {
    addressing.origin = "http://" + url.hostField;
    addressing.proxyField = loginField(*proxy);
  }
}

}  // namespace ferrin::proxy
