#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {

// macOS tells unprivileged processes nothing about the other end of a TCP connection.
bool belongsToSomebodyElse(const boost::asio::ip::tcp::endpoint&, const boost::asio::ip::tcp::endpoint&) {
  return false;
}

bool isAbandoned(const boost::asio::ip::tcp::endpoint&, const boost::asio::ip::tcp::endpoint&) {
  return false;
}

}  // namespace ferrin::proxy
