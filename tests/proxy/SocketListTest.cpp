#include "proxy/system/SocketList.h"

#include <gtest/gtest.h>

#include "tests/support/SocketRecords.h"

namespace ferrin::proxy {
namespace {

namespace ip = boost::asio::ip;
using tests::bytesOf;

ip::tcp::endpoint at(const char* address, std::uint16_t port) { return {ip::make_address(address), port}; }

const ConnectionEnds ends{at("127.0.0.1", 50000), at("127.0.0.1", 8787)};
const ListedSocket client{ends.peer, ends.local, 501, 77, true}, server{ends.local, ends.peer, 501, 78, true};

TEST(SocketList, tellsWhoseTheOtherEndIs) {
  const ListedSocket root{ends.peer, ends.local, 0, 77, true}, left{ends.peer, ends.local, 501, 77, false};
  const ListedSocket mapped{at("::ffff:127.0.0.1", 50000), at("::ffff:127.0.0.1", 8787), 501, 77, true};
  struct Row {
    const char* name;
    SocketList entries;
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
      {"another port", {{at("127.0.0.1", 50001), ends.local, 501, 77, true}}, PeerOwner::nobody, true},
      {"another address", {{at("127.0.0.2", 50000), ends.local, 501, 77, true}}, PeerOwner::nobody, true},
      {"to another port", {{ends.peer, at("127.0.0.1", 8788), 501, 77, true}}, PeerOwner::nobody, true},
      {"the same bytes over IPv6", {mapped}, PeerOwner::nobody, true},
  };
  for (const auto& [name, entries, owner, abandoned] : rows) {
    const auto list = parseSocketList(bytesOf(entries));
    ASSERT_TRUE(list) << name;
    EXPECT_EQ(ownerOfPeer(*list, ends, 501), owner) << name;
    EXPECT_EQ(isAbandoned(*list, ends), abandoned) << name;
  }
  const ConnectionEnds v6{at("::1", 50000), at("::1", 8787)};
  EXPECT_EQ(ownerOfPeer(*parseSocketList(bytesOf({client, {v6.peer, v6.local, 501, 77, true}})), v6, 501),
            PeerOwner::thisUser);
}

TEST(SocketList, namesTheProcessThatListens) {
  const auto none = at("0.0.0.0", 0);
  const auto list = parseSocketList(bytesOf({server,
                                             {at("192.0.2.1", 8787), none, 0, 1, true},
                                             {at("::", 8787), at("::", 0), 0, 2, true},
                                             {at("127.0.0.1", 8788), none, 0, 3, true}}));
  EXPECT_EQ(listenerOn(*list, 8787), 2);
  EXPECT_EQ(listenerOn(*list, 8788), 3);
  EXPECT_EQ(listenerOn(*list, 8789), 0);
}

TEST(SocketList, isRefusedUnlessItIsWhole) {
  const std::string whole = bytesOf({server, client});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::vector<char> cut(
        whole.begin(),
        whole.begin() + static_cast<std::ptrdiff_t>(size));  // its own block, for the sanitizer
    EXPECT_FALSE(parseSocketList(cut)) << size;
  }
  using tests::socketRecord;
  const std::string frame = socketRecord(3, 24);
  const std::pair<const char*, std::string> rows[] = {
      {"a length of 0", frame + socketRecord(0x10, 104).replace(0, 4, 4, '\0') + frame},
      {"a length beyond all", frame + socketRecord(0x10, 104).replace(0, 4, 4, '\xFF') + frame},
      {"a first length of 0", std::string(64, '\0')},
      {"a short connection", frame + socketRecord(0x10, 72) + socketRecord(0x01, 76) + frame},
      {"a short socket", frame + socketRecord(0x10, 104) + socketRecord(0x01, 64) + frame},
      {"a socket of no connection", frame + socketRecord(0x01, 76) + frame},
  };
  for (const auto& [name, bytes] : rows) EXPECT_FALSE(parseSocketList(bytes)) << name;
}

}  // namespace
}  // namespace ferrin::proxy
