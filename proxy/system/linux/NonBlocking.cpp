#include <sys/socket.h>

#include "proxy/system/NonBlocking.h"

namespace ferrin::proxy {

FileDescriptor nonBlockingSocket(int family) {
  return FileDescriptor(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

FileDescriptor acceptNonBlocking(int listener) {
  return FileDescriptor(accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
}

}  // namespace ferrin::proxy
