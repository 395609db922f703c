#include "proxy/system/SocketList.h"

#include <gtest/gtest.h>

#include <functional>

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;

template <typename T>
void set(std::string& record, std::size_t offset, const T& value) {
  record.replace(offset, sizeof value, reinterpret_cast<const char*>(&value), sizeof value);
}

/// Padded as in the list.
std::string record(std::uint32_t kind, std::uint32_t length) {
  std::string bytes((length + 7) / 8 * 8, '\xEE');
  set(bytes, 0, length);
  set(bytes, 4, kind);
  return bytes;
}

ip::tcp::endpoint at(const char* address, std::uint16_t port) { return {ip::make_address(address), port}; }

struct Entry {
  ip::tcp::endpoint local, foreign;
  std::uint32_t user = 501;
  std::int32_t process = 77;
  std::uint16_t state = 0x0102;

  void setEnd(std::string& into, std::size_t address, std::size_t port, const ip::tcp::endpoint& end) const {
    set(into, port, htons(end.port()));
    if (end.address().is_v4())
      set(into, address + 12, end.address().to_v4().to_bytes());
    else
      set(into, address, end.address().to_v6().to_bytes());
  }
  std::string bytes() const {
    std::string connection = record(0x10, 104), socket = record(0x01, 76);
    connection[44] = local.address().is_v4() ? '\x01' : '\x02';
    setEnd(connection, 48, 16, foreign);
    setEnd(connection, 64, 18, local);
    set(socket, 26, state);
    set(socket, 64, user);
    set(socket, 68, process);
    return connection + socket + record(0x02, 32) + record(0x04, 32) + record(0x08, 132) + record(0x20, 208);
  }
};

const std::string frame = record(3, 24);
const ConnectionEnds ends{at("127.0.0.1", 50000), at("127.0.0.1", 8787)};
const Entry client{ends.peer, ends.local}, server{ends.local, ends.peer, 501, 78};

std::string listOf(std::initializer_list<Entry> entries) {
  std::string bytes = frame;
  for (const Entry& entry : entries) bytes += entry.bytes();
  return bytes + frame;
}

TEST(SocketList, tellsWhoseTheOtherEndIs) {
  const Entry root{ends.peer, ends.local, 0}, left{ends.peer, ends.local, 501, 77, 0x0001};
  const Entry mapped{at("::ffff:127.0.0.1", 50000), at("::ffff:127.0.0.1", 8787)};
  struct Row {
    const char* name;
    std::initializer_list<Entry> entries;
    PeerOwner owner;
    bool abandoned;
  };
  const Row rows[] = {
      {"an empty list", {}, PeerOwner::nobody, true},
      {"this user's", {server, client}, PeerOwner::thisUser, false},
      {"root's", {root, server}, PeerOwner::otherUser, false},
      {"the relay's own end alone", {server}, PeerOwner::nobody, true},
      {"closed by its process", {left, server}, PeerOwner::nobody, true},
      {"two of the same ends", {client, root}, PeerOwner::unknown, false},
      {"another port", {{at("127.0.0.1", 50001), ends.local}}, PeerOwner::nobody, true},
      {"another address", {{at("127.0.0.2", 50000), ends.local}}, PeerOwner::nobody, true},
      {"to another port", {{ends.peer, at("127.0.0.1", 8788)}}, PeerOwner::nobody, true},
      {"the same bytes over IPv6", {mapped}, PeerOwner::nobody, true},
  };
  for (const auto& [name, entries, owner, abandoned] : rows) {
    const auto list = parseSocketList(listOf(entries));
    ASSERT_TRUE(list) << name;
    EXPECT_EQ(ownerOfPeer(*list, ends, 501), owner) << name;
    EXPECT_EQ(isAbandoned(*list, ends), abandoned) << name;
  }
  const ConnectionEnds v6{at("::1", 50000), at("::1", 8787)};
  EXPECT_EQ(ownerOfPeer(*parseSocketList(listOf({client, {v6.peer, v6.local}})), v6, 501),
            PeerOwner::thisUser);
}

TEST(SocketList, namesTheProcessThatListens) {
  const auto none = at("0.0.0.0", 0);
  const auto list = parseSocketList(listOf({server,
                                            {at("192.0.2.1", 8787), none, 0, 1},
                                            {at("::", 8787), at("::", 0), 0, 2},
                                            {at("127.0.0.1", 8788), none, 0, 3}}));
  EXPECT_EQ(listenerOn(*list, 8787), 2);
  EXPECT_EQ(listenerOn(*list, 8788), 3);
  EXPECT_EQ(listenerOn(*list, 8789), 0);
}

TEST(SocketList, isRefusedUnlessItIsWhole) {
  const std::string whole = listOf({server, client});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::vector<char> cut(
        whole.begin(),
        whole.begin() + static_cast<std::ptrdiff_t>(size));  // its own block, for the sanitizer
    EXPECT_FALSE(parseSocketList(cut)) << size;
  }
  const std::pair<const char*, std::string> rows[] = {
      {"a length of 0", frame + record(0x10, 104).replace(0, 4, 4, '\0') + frame},
      {"a length beyond all", frame + record(0x10, 104).replace(0, 4, 4, '\xFF') + frame},
      {"a first length of 0", std::string(64, '\0')},
      {"a short connection", frame + record(0x10, 72) + record(0x01, 76) + frame},
      {"a short socket", frame + record(0x10, 104) + record(0x01, 64) + frame},
      {"a socket of no connection", frame + record(0x01, 76) + frame},
  };
  for (const auto& [name, bytes] : rows) EXPECT_FALSE(parseSocketList(bytes)) << name;
}

}  // namespace
}  // namespace ferrin::proxy
