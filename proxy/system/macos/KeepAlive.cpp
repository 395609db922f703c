#include "proxy/system/KeepAlive.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace ferrin::proxy {

// tcp(4). TCP_RXT_CONNDROPTIME limits unacknowledged data.
void probePath(int socket) noexcept {
  const int on = 1;
  const int idle = 30;
  const int interval = 15;
  const int probes = 3;
  const int dropTime = 75;  // seconds
  setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
  setsockopt(socket, IPPROTO_TCP, TCP_KEEPALIVE, &idle, sizeof idle);
  setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
  setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &probes, sizeof probes);
  setsockopt(socket, IPPROTO_TCP, TCP_RXT_CONNDROPTIME, &dropTime, sizeof dropTime);
}

}  // namespace ferrin::proxy
