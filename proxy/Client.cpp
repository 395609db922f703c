#include "proxy/Client.h"

#include "proxy/PeerSocket.h"

namespace ferrin::proxy {
namespace {

using tcp = boost::asio::ip::tcp;

tcp::endpoint endpointOf(const tcp::socket& socket, bool remote) {
  boost::system::error_code gone;
  return remote ? socket.remote_endpoint(gone) : socket.local_endpoint(gone);
}

}  // namespace

Client::Client(tcp::socket connected)
    : peer(endpointOf(connected, true)), local(endpointOf(connected, false)), stream(std::move(connected)) {}

bool Client::hasGone() { return peerHasClosed(stream.socket().descriptor()) || isAbandoned(peer, local); }

}  // namespace ferrin::proxy
