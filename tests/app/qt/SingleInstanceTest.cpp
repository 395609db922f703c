#include "app/qt/SingleInstance.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <future>
#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::qt {
namespace {

namespace fs = std::filesystem;

bool isAskedFor(const SingleInstance& instance) {
  pollfd waiting{instance.descriptor(), POLLIN, 0};
  return poll(&waiting, 1, 10'000) == 1;
}

TEST(SingleInstance, bringsTheFirstForwardBeforeTheSecondGoes) {
  const tests::TemporaryFolder folder;
  auto first = SingleInstance::take(folder / "place", "token");
  ASSERT_TRUE(first);
  auto second =
      std::async(std::launch::async, [&] { return SingleInstance::take(folder / "place", "token"); });
  ASSERT_TRUE(isAskedFor(*first));
  EXPECT_EQ(second.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  std::string told;
  first->answer([&told](const std::string& message) { told += message; });
  EXPECT_FALSE(second.get());
  EXPECT_EQ(told, "token");

  first.reset();  // its socket is still there
  EXPECT_TRUE(SingleInstance::take(folder / "place", "token"));
}

TEST(SingleInstance, refusesAPlaceThatOthersCanReach) {
  const tests::TemporaryFolder folder;
  fs::create_directory(folder / "open");
  fs::permissions(folder / "open", fs::perms::all);
  fs::create_directory(folder / "private");
  fs::permissions(folder / "private", fs::perms::owner_all);
  fs::create_directory_symlink(folder / "private", folder / "link");
  for (const char* name : {"open", "link"}) {
    EXPECT_THROW(SingleInstance::take(folder / name, ""), std::system_error) << name;
  }
  const std::string far(200, 'x');
  EXPECT_THROW(SingleInstance::take(folder / far, ""), std::system_error);
}

TEST(SingleInstance, turnsOtherUsersAway) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const tests::TemporaryFolder folder;
  const auto instance = SingleInstance::take(folder / "place", "token");
  for (const char* name : {"", "place", "place/socket"}) fs::permissions(folder / name, fs::perms::all);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder / "place/socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
  const core::FileDescriptor stranger(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(seteuid(65534), 0);
  const int connected = connect(stranger.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  ASSERT_EQ(seteuid(0), 0);
  ASSERT_EQ(connected, 0);
  instance->answer([](const std::string&) { FAIL() << "came forward for a stranger"; });
  char byte = 0;
  EXPECT_EQ(recv(stranger.get(), &byte, 1, 0), 0);
}

}  // namespace
}  // namespace ferrin::qt
