#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace ferrin::proxy {

/// Whether the socket `peer` that is connected to `local` on this machine belongs to another user than this
/// process's. False where the system doesn't tell whose it is at all; true where it should know and doesn't.
bool belongsToSomebodyElse(const boost::asio::ip::tcp::endpoint& peer,
                           const boost::asio::ip::tcp::endpoint& local);

}  // namespace ferrin::proxy
