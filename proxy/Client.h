#pragma once
// One client's connection, as its reader and its exchanges share it.

#include <boost/asio/ip/tcp.hpp>
#include <string>

#include "proxy/loop/SendBuffer.h"

namespace ferrin::proxy {

struct Client {
  Client(EventLoop& loop, FileDescriptor connected);

  /// Whether its program has closed the connection, or has it closed and its last bytes not yet read here.
  bool hasGone();

  boost::asio::ip::tcp::endpoint peer;
  boost::asio::ip::tcp::endpoint local;
  PlainStream stream;
  SendBuffer sendBuffer;
  std::string pending;  ///< came in and belongs to nobody yet: the next head, or the body behind this one
};

}  // namespace ferrin::proxy
