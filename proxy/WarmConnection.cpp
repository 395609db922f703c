#include "proxy/WarmConnection.h"

#include <utility>

namespace ferrin::proxy {

WarmConnection::WarmConnection(Services& shared, std::function<void()> onEnd)
    : services(shared), ended(std::move(onEnd)) {
  services.pool.onExpiry([this] {
    if (services.connections > 0 && !services.stopping && !busy()) renew();
  });
}

void WarmConnection::stop() {
  if (attempt != nullptr) attempt->cancel();
}

Detached WarmConnection::renew() {
  Connector connector(services.loop, services.limits.upstream, services.names, services.tls,
                      services.options.upstream);
  attempt = &connector;
  Connected connected = co_await connector.open();
  attempt = nullptr;
  if (connected.stream && !services.stopping) services.pool.keep(std::move(connected.stream));
  ended();
}

}  // namespace ferrin::proxy
