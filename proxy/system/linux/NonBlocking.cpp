#include <sys/socket.h>

#include "proxy/system/NonBlocking.h"

namespace ferrin::proxy {

Descriptor nonBlockingSocket(int family) {
  return Descriptor(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

Descriptor acceptNonBlocking(int listener) {
  return Descriptor(accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

}  // namespace ferrin::proxy
