#include <poll.h>

#include "proxy/Socket.h"

namespace ferrin::proxy {

bool peerHasClosed(int descriptor) {
  pollfd polled{descriptor, POLLRDHUP, 0};
  return poll(&polled, 1, 0) > 0 && (polled.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0;
}

}  // namespace ferrin::proxy
