#include "app/qt/SingleInstance.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <system_error>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::qt {
namespace {

namespace fs = std::filesystem;

TEST(SingleInstance, refusesAPlaceThatOthersCanReach) {
  const tests::TemporaryFolder folder;
  fs::create_directory(folder / "open");
  fs::permissions(folder / "open", fs::perms::all);
  fs::create_directory_symlink(folder.path(), folder / "link");
  for (const std::string& name : {std::string("open"), std::string("link"), std::string(200, 'x')}) {
    EXPECT_THROW(SingleInstance::take(folder / name, ""), std::system_error) << name;
  }
}

TEST(SingleInstance, turnsOtherUsersAway) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const tests::TemporaryFolder folder;
  const auto instance = SingleInstance::take(folder / "place", "token");
  for (const char* name : {"", "place", "place/socket"}) fs::permissions(folder / name, fs::perms::all);
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = ""};
  (folder / "place/socket").native().copy(address.sun_path, sizeof address.sun_path - 1);
  const core::FileDescriptor stranger(socket(AF_UNIX, SOCK_STREAM, 0));
  ASSERT_EQ(seteuid(65534), 0);
  connect(stranger.get(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  ASSERT_EQ(seteuid(0), 0);
  instance->answer([](const std::string&) { FAIL() << "came forward for a stranger"; });
  char byte = 0;
  EXPECT_EQ(recv(stranger.get(), &byte, 1, 0), 0);
}

}  // namespace
}  // namespace ferrin::qt
