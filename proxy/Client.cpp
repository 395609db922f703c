#include "proxy/Client.h"

#include <sys/socket.h>

#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {
namespace {

using Endpoint = boost::asio::ip::tcp::endpoint;

/// What getsockname(2) or getpeername(2) tells; nothing of a connection that has gone already.
template <typename Ask>
Endpoint endpointOf(const FileDescriptor& socket, Ask ask) {
  Endpoint endpoint;
  auto size = static_cast<socklen_t>(endpoint.capacity());
  if (ask(socket.get(), endpoint.data(), &size) == 0) endpoint.resize(size);
  return endpoint;
}

}  // namespace

Client::Client(EventLoop& loop, FileDescriptor connected)
    : peer(endpointOf(connected, getpeername)),
      local(endpointOf(connected, getsockname)),
      stream(loop, std::move(connected)) {}

bool Client::hasGone() { return stream.socket().hungUp() || isAbandoned(peer, local); }

}  // namespace ferrin::proxy
