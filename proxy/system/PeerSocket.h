#pragma once
// What the system tells about the socket at the other end of a connection within this machine.

#include <boost/asio/ip/tcp.hpp>
#include <optional>

namespace ferrin::proxy {

/// Both ends of a TCP connection.
struct ConnectionEnds {
  boost::asio::ip::tcp::endpoint peer;
  boost::asio::ip::tcp::endpoint local;
};

/// The ends of the connected socket `descriptor`; nothing when the connection is gone already.
std::optional<ConnectionEnds> endsOf(int descriptor) noexcept;

/// Whose process holds the peer's socket.
enum class PeerOwner {
  thisUser,
  otherUser,
  nobody,   ///< the process has closed it, or is gone
  unknown,  ///< the system could not be asked, for lack of descriptors or memory, or has two answers
};
PeerOwner ownerOfPeer(const ConnectionEnds& ends) noexcept;
/// Opens what asking takes, so that a later shortage of descriptors does not matter.
void preparePeerQueries() noexcept;

/// Whether no process holds the peer's socket any more, even though its end of stream has not arrived yet.
/// False where the system doesn't tell.
bool isAbandoned(const ConnectionEnds& ends) noexcept;

}  // namespace ferrin::proxy
