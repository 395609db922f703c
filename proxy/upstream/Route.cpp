#include "proxy/upstream/Route.h"

#include <stdexcept>
#include <utility>

#include "proxy/upstream/ProxyTunnel.h"

namespace ferrin::proxy {

Route::Route(EventLoop& loop, const UpstreamURL& url, const ProxySettings& settings)
    : upstream(url),
      destination(loop, url.host, url.port),
      addressing{.host = url.hostField},
      note(settings.note) {
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

std::string Route::description() const {
  std::string text = "upstream " + upstream.host;
  if (proxy) text.append(" via ").append(proxy->name);
  if (!note.empty()) text.append(", ").append(note);
  return text;
}

Routes::Routes(EventLoop& home, const UpstreamURL& url)
    : loop(home),
      upstream(url),
      address((url.secure ? "https://" : "http://") + url.hostField),
      settings(proxySettings(address)),
      route(std::make_shared<Route>(loop, upstream, settings)) {}

bool Routes::refresh() {
  ProxySettings now = proxySettings(address);
  if (now == settings) return false;
  route = std::make_shared<Route>(loop, upstream, now);
  settings = std::move(now);
  return true;
}

}  // namespace ferrin::proxy
