#include "proxy/loop/Listener.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "proxy/system/NonBlocking.h"

namespace ferrin::proxy {
namespace {

/// Whether the error is one connection's, not the listener's (accept(2)).
bool concernsOneConnection(int error) {
  return error == EINTR || error == ECONNABORTED || error == EPROTO || error == ENETDOWN ||
         error == EHOSTUNREACH || error == ENETUNREACH || error == EPERM;
}

}  // namespace

Listener::Listener(EventLoop& home, const boost::asio::ip::tcp::endpoint& endpoint,
                   std::function<void(FileDescriptor)> onAccepted, std::function<void(int)> onFailed)
    : EventHandler(home),
      socket(nonBlockingSocket(endpoint.protocol().family())),
      accepted(std::move(onAccepted)),
      failed(std::move(onFailed)) {
  if (!socket.valid()) throw std::system_error(errno, std::generic_category());
  const int on = 1;
  setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(socket.get(), endpoint.data(), static_cast<socklen_t>(endpoint.size())) != 0 ||
      listen(socket.get(), SOMAXCONN) != 0) {
    throw std::system_error(errno, std::generic_category());
  }
  loop.watch(socket.get(), *this);
}

boost::asio::ip::tcp::endpoint Listener::endpoint() const {
  boost::asio::ip::tcp::endpoint endpoint;
  auto size = static_cast<socklen_t>(endpoint.capacity());
  if (getsockname(socket.get(), endpoint.data(), &size) != 0)
    throw std::system_error(errno, std::generic_category());
  endpoint.resize(size);
  return endpoint;
}

void Listener::run() noexcept {
  FileDescriptor connection = acceptNonBlocking(socket.get());
  const int error = errno;
  if (connection.valid()) {
    loop.defer(*this);
    accepted(std::move(connection));
  } else if (concernsOneConnection(error)) {
    loop.defer(*this);
  } else if (error != EAGAIN && error != EWOULDBLOCK) {
    failed(error);
  }
}

}  // namespace ferrin::proxy
