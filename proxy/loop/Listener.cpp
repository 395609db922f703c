#include "proxy/loop/Listener.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "proxy/system/NonBlocking.h"

namespace ferrin::proxy {
namespace {

/// What went wrong with one connection, not with accepting (accept(2)).
bool concernsOneConnection(int error) {
  return error == EINTR || error == ECONNABORTED || error == EPROTO || error == ENETDOWN ||
         error == EHOSTUNREACH || error == ENETUNREACH || error == EPERM;
}

}  // namespace

Listener::Listener(EventLoop& home, const boost::asio::ip::tcp::endpoint& endpoint,
                   std::function<void(Descriptor)> onAccepted, std::function<void(int)> onFailed)
    : Watched(home),
      socket(nonBlockingSocket(endpoint.protocol().family())),
      accepted(std::move(onAccepted)),
      failed(std::move(onFailed)) {
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

/// One in a turn: the others are served meanwhile, and those that have left are noticed.
void Listener::run() {
  Descriptor connection = acceptNonBlocking(socket.get());
  const int error = errno;
  if (connection) {
    accepted(std::move(connection));
    loop.soon(*this);
  } else if (concernsOneConnection(error)) {
    loop.soon(*this);
  } else if (error != EAGAIN && error != EWOULDBLOCK) {
    failed(error);
  }
}

}  // namespace ferrin::proxy
