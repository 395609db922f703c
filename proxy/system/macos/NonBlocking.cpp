#include <fcntl.h>
#include <sys/socket.h>

#include "proxy/system/NonBlocking.h"

namespace ferrin::proxy {
namespace {

/// macOS has no calls that do this at once. Nothing is started meanwhile, so nothing is inherited.
FileDescriptor prepared(int descriptor) {
  if (descriptor >= 0) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    const int on = 1;
    setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
  }
  return FileDescriptor(descriptor);
}

}  // namespace

FileDescriptor nonBlockingSocket(int family) { return prepared(socket(family, SOCK_STREAM, 0)); }

FileDescriptor acceptNonBlocking(int listener) { return prepared(accept(listener, nullptr, nullptr)); }

}  // namespace ferrin::proxy
