#include "proxy/PeerUser.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace ferrin::proxy {
namespace {

using Endpoint = boost::asio::ip::tcp::endpoint;

struct Request {
  nlmsghdr header;
  inet_diag_req_v2 question;
};

/// The way to the kernel, open for the life of the process.
struct Netlink {
  int descriptor = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
};

void copyAddress(const boost::asio::ip::address& address, __be32 (&into)[4]) {
  if (address.is_v4()) {
    const auto bytes = address.to_v4().to_bytes();
    std::memcpy(into, bytes.data(), bytes.size());
  } else {
    const auto bytes = address.to_v6().to_bytes();
    std::memcpy(into, bytes.data(), bytes.size());
  }
}

/// The exact connection as its other end sees it: its source is our peer (sock_diag(7)).
Request questionAbout(const Endpoint& peer, const Endpoint& local) {
  Request request{};
  request.header.nlmsg_len = sizeof request;
  request.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.question.sdiag_family = peer.address().is_v4() ? AF_INET : AF_INET6;
  request.question.sdiag_protocol = IPPROTO_TCP;
  request.question.idiag_states = ~0U;
  request.question.id.idiag_sport = htons(peer.port());
  request.question.id.idiag_dport = htons(local.port());
  copyAddress(peer.address(), request.question.id.idiag_src);
  copyAddress(local.address(), request.question.id.idiag_dst);
  request.question.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
  request.question.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return request;
}

}  // namespace

bool belongsToSomebodyElse(const Endpoint& peer, const Endpoint& local) {
  static const Netlink netlink;
  const Request request = questionAbout(peer, local);
  if (send(netlink.descriptor, &request, sizeof request, 0) != static_cast<ssize_t>(sizeof request))
    return true;
  alignas(nlmsghdr) std::array<char, 1024> answer{};
  const ssize_t size = recv(netlink.descriptor, answer.data(), answer.size(), 0);
  if (size < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(inet_diag_msg)))) return true;
  nlmsghdr header{};
  std::memcpy(&header, answer.data(), sizeof header);
  if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY) return true;  // an error: no such connection any more
  inet_diag_msg message{};
  std::memcpy(&message, answer.data() + NLMSG_HDRLEN, sizeof message);
  return message.idiag_uid != getuid();
}

}  // namespace ferrin::proxy
