#include "proxy/system/PeerSocket.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <optional>

namespace ferrin::proxy {
namespace {

struct Request {
  nlmsghdr header;
  inet_diag_req_v2 question;
};

/// The socket to the kernel, opened when first needed and kept for the life of the process.
int netlink() {
  static int descriptor = -1;
  if (descriptor < 0) descriptor = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
  return descriptor;
}

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
Request questionAbout(const ConnectionEnds& ends) {
  const auto& [peer, local] = ends;
  static std::uint32_t sequence = 0;
  Request request{};
  request.header.nlmsg_seq = ++sequence;
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

/// The kernel's answer to `request`: its type, and what it carries. Nothing when there is none.
struct Answer {
  nlmsghdr header{};
  inet_diag_msg socket{};
  int error = 0;  ///< of an answer of the type NLMSG_ERROR
};
std::optional<Answer> ask(const Request& request) {
  if (send(netlink(), &request, sizeof request, 0) != static_cast<ssize_t>(sizeof request))
    return std::nullopt;
  alignas(nlmsghdr) std::array<char, 1024> bytes{};
  Answer answer;
  do {  // the kernel answers before send() returns; what was left unread of an earlier question is not ours
    const ssize_t size = recv(netlink(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (size < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr)))) return std::nullopt;
    std::memcpy(&answer.header, bytes.data(), sizeof answer.header);
  } while (answer.header.nlmsg_seq != request.header.nlmsg_seq);
  std::memcpy(&answer.socket, bytes.data() + NLMSG_HDRLEN, sizeof answer.socket);
  std::memcpy(&answer.error, bytes.data() + NLMSG_HDRLEN, sizeof answer.error);
  return answer;
}

}  // namespace

void preparePeerQueries() noexcept { netlink(); }

PeerOwner ownerOfPeer(const ConnectionEnds& ends) noexcept {
  const auto answer = ask(questionAbout(ends));
  if (!answer) return PeerOwner::unknown;
  // The user of a socket that no process holds any more reads as root.
  const bool held = answer->header.nlmsg_type == SOCK_DIAG_BY_FAMILY && answer->socket.idiag_inode != 0;
  if (!held) return PeerOwner::nobody;
  return answer->socket.idiag_uid == getuid() ? PeerOwner::thisUser : PeerOwner::otherUser;
}

bool isAbandoned(const ConnectionEnds& ends) noexcept {
  const auto answer = ask(questionAbout(ends));
  if (!answer) return false;
  if (answer->header.nlmsg_type == NLMSG_ERROR) return answer->error == -ENOENT;
  return answer->socket.idiag_inode == 0;  // the kernel still sends what the process left behind
}

}  // namespace ferrin::proxy
