#include "proxy/system/SocketList.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;
using Bytes = std::span<const char>;

/// The list begins and ends with a record of this size; all others are longer.
constexpr std::size_t frameSize = 24;
constexpr std::size_t prefixSize = 8;  // length and kind

enum Kind : std::uint32_t { socketKind = 0x01, connectionKind = 0x10 };
constexpr std::size_t smallestConnection = 80;
constexpr std::size_t smallestSocket = 72;

constexpr unsigned heldByNobody = 0x0001;  // SS_NOFDREF
constexpr unsigned ipv6 = 0x2;             // INP_IPV6

template <typename T>
T at(Bytes record, std::size_t offset) {
  T value;
  std::memcpy(&value, record.data() + offset, sizeof value);
  return value;
}

std::uint16_t portAt(Bytes record, std::size_t offset) {
  const auto bytes = at<std::array<std::uint8_t, 2>>(record, offset);
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

/// An IPv4 address lies in the last 4 of the 16 bytes.
ip::address addressAt(Bytes record, std::size_t offset) {
  const bool isV6 = (at<std::uint8_t>(record, 44) & ipv6) != 0;
  if (isV6) return ip::address_v6(at<ip::address_v6::bytes_type>(record, offset));
  return ip::address_v4(at<ip::address_v4::bytes_type>(record, offset + 12));
}

ListedSocket connectionOf(Bytes record) {
  ListedSocket socket;
  socket.foreign = {addressAt(record, 48), portAt(record, 16)};
  socket.local = {addressAt(record, 64), portAt(record, 18)};
  return socket;
}

void addHolder(ListedSocket& socket, Bytes record) {
  socket.held = (at<std::uint16_t>(record, 26) & heldByNobody) == 0;
  socket.owner = at<std::uint32_t>(record, 64);
  socket.process = at<std::int32_t>(record, 68);
}

/// The first record of `bytes`; empty when it is cut off or too short to be any.
Bytes firstRecord(Bytes bytes) {
  if (bytes.size() < prefixSize) return {};
  const std::size_t length = at<std::uint32_t>(bytes, 0);
  return length < prefixSize || length > bytes.size() ? Bytes() : bytes.first(length);
}

/// What follows `record`, at a multiple of 8 bytes.
Bytes behind(Bytes bytes, Bytes record) {
  return bytes.subspan(std::min((record.size() + 7) / 8 * 8, bytes.size()));
}

bool matches(const ListedSocket& socket, const ConnectionEnds& ends) {
  return socket.local == ends.peer && socket.foreign == ends.local;
}

}  // namespace

std::optional<SocketList> parseSocketList(Bytes bytes) {
  SocketList list;
  std::optional<ListedSocket> connection;
  Bytes record = firstRecord(bytes);
  while (!record.empty()) {
    bytes = behind(bytes, record);
    record = firstRecord(bytes);
    if (record.size() == frameSize) return list;
    if (record.empty()) break;
    const auto kind = at<std::uint32_t>(record, 4);
    if (kind == connectionKind && record.size() >= smallestConnection) {
      connection = connectionOf(record);
    } else if (kind == socketKind && record.size() >= smallestSocket && connection) {
      addHolder(*connection, record);
      list.push_back(*connection);
      connection.reset();
    } else if (kind == connectionKind || kind == socketKind) {
      break;
    }
  }
  return std::nullopt;
}

PeerOwner ownerOfPeer(const SocketList& list, const ConnectionEnds& ends, uid_t user) {
  const auto isPeer = [&ends](const ListedSocket& socket) { return matches(socket, ends); };
  const auto found = std::find_if(list.begin(), list.end(), isPeer);
  if (found == list.end()) return PeerOwner::nobody;
  if (std::any_of(found + 1, list.end(), isPeer)) return PeerOwner::unknown;
  if (!found->held) return PeerOwner::nobody;
  return found->owner == user ? PeerOwner::thisUser : PeerOwner::otherUser;
}

bool isAbandoned(const SocketList& list, const ConnectionEnds& ends) {
  return std::none_of(list.begin(), list.end(),
                      [&ends](const ListedSocket& socket) { return matches(socket, ends) && socket.held; });
}

pid_t listenerOn(const SocketList& list, std::uint16_t port) {
  for (const ListedSocket& socket : list) {
    const auto& address = socket.local.address();
    const bool reachable = address.is_loopback() || address.is_unspecified();
    if (reachable && socket.local.port() == port && socket.foreign.port() == 0) return socket.process;
  }
  return 0;
}

}  // namespace ferrin::proxy
