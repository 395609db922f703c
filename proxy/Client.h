#pragma once
// One client's connection, as its reader and its exchanges share it.

#include <boost/asio/ip/tcp.hpp>
#include <string>

#include "proxy/Stream.h"

namespace ferrin::proxy {

struct Client {
  explicit Client(boost::asio::ip::tcp::socket connected) : stream(std::move(connected)) {}

  PlainStream stream;
  Outbox outbox;
  std::string pending;  ///< came in and belongs to nobody yet: the next head, or the body behind this one
};

}  // namespace ferrin::proxy
