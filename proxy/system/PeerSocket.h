#pragma once
// What the system tells about the socket at the other end of a connection within this machine.

#include <boost/asio/ip/tcp.hpp>

namespace ferrin::proxy {

/// Whether the socket `peer` that is connected to `local` on this machine belongs to another user than this
/// process's. False where the system doesn't tell whose it is at all; true where it should know and doesn't.
bool belongsToSomebodyElse(const boost::asio::ip::tcp::endpoint& peer,
                           const boost::asio::ip::tcp::endpoint& local);

/// Whether nobody holds the socket `peer` any more. Its end of stream may still be on its way then, behind
/// bytes that this side doesn't read. False where the system doesn't tell.
bool isAbandoned(const boost::asio::ip::tcp::endpoint& peer, const boost::asio::ip::tcp::endpoint& local);

}  // namespace ferrin::proxy
