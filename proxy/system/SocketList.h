#pragma once
// The list of TCP sockets that macOS gives every program, with their owners: sysctl(3)'s
// "net.inet.tcp.pcblist_n". Rules on its bytes, without effects. Layout:
// github.com/apple-oss-distributions/xnu, struct xinpgen and xinpcb_n of bsd/netinet/in_pcb.h, struct
// xsocket_n of bsd/sys/socketvar.h.

#include <sys/types.h>

#include <optional>
#include <span>
#include <vector>

#include "proxy/system/PeerSocket.h"

namespace ferrin::proxy {

struct ListedSocket {
  boost::asio::ip::tcp::endpoint local;
  boost::asio::ip::tcp::endpoint foreign;
  uid_t owner = 0;
  pid_t process = 0;  ///< that used it last
  bool held = false;  ///< by any process
};
using SocketList = std::vector<ListedSocket>;

/// The TCP sockets over IPv4 and IPv6 in `bytes`, which may hold anything. Nothing when they are not a whole,
/// well-formed list. Throws std::bad_alloc.
std::optional<SocketList> parseSocketList(std::span<const char> bytes);

/// Whose process holds the other end of a connection; `unknown` when the list has it more than once.
PeerOwner ownerOfPeer(const SocketList& list, const ConnectionEnds& ends, uid_t user);
/// Whether no process holds the other end of a connection.
bool isAbandoned(const SocketList& list, const ConnectionEnds& ends);
/// The process that listens on a port of the loopback interface; 0 when there is none.
pid_t listenerOn(const SocketList& list, std::uint16_t port);

}  // namespace ferrin::proxy
