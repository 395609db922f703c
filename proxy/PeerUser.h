#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <optional>

namespace ferrin::proxy {

/// Asks the system whose the other ends of loopback connections are.
class PeerUser {
 public:
  PeerUser();
  PeerUser(const PeerUser&) = delete;
  PeerUser& operator=(const PeerUser&) = delete;
  ~PeerUser();

  /// Whether the socket `peer` that is connected to `local` on this machine belongs to another user than this
  /// process's. False where the system doesn't tell whose it is at all; true where it should know it and
  /// doesn't.
  bool isSomebodyElse(const boost::asio::ip::tcp::endpoint& peer,
                      const boost::asio::ip::tcp::endpoint& local);

 private:
  int netlink = -1;
};

}  // namespace ferrin::proxy
