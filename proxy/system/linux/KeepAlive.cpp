#include "proxy/system/KeepAlive.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace ferrin::proxy {

// tcp(7). The first probe comes after 30 s, two more each 15 s later; the fourth would be too late.
void probePath(int socket) noexcept {
  const int on = 1;
  const int idle = 30;
  const int interval = 15;
  const int probes = 3;
  const unsigned userTimeout = 75'000;  // milliseconds
  setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
  setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
  setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
  setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &userTimeout, sizeof userTimeout);
}

}  // namespace ferrin::proxy
