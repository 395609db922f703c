#pragma once
// Sockets that never block and that no child process gets.

#include "proxy/system/FileDescriptor.h"

namespace ferrin::proxy {

/// A new TCP socket of `family`, AF_INET or AF_INET6. None, with errno set, when the system has none left.
FileDescriptor nonBlockingSocket(int family);

/// The next connection of `listener`. None, with errno set: EAGAIN when there is none.
FileDescriptor acceptNonBlocking(int listener);

}  // namespace ferrin::proxy
