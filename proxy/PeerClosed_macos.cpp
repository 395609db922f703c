#include <poll.h>
#include <sys/socket.h>

#include "proxy/Socket.h"

namespace ferrin::proxy {

// The end of the stream shows as POLLHUP once the other side can't send any more, else as an empty read.
bool peerHasClosed(int descriptor) {
  pollfd polled{descriptor, POLLIN, 0};
  if (poll(&polled, 1, 0) <= 0) return false;
  if ((polled.revents & (POLLHUP | POLLERR)) != 0) return true;
  char byte = 0;
  return recv(descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

}  // namespace ferrin::proxy
