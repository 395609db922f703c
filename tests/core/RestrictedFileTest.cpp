#include "core/RestrictedFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <string>
#include <system_error>
#include <thread>

#include "core/TextFile.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

namespace fs = std::filesystem;
using tests::contentOf;
using tests::modeOf;
using tests::put;
using tests::TemporaryFolder;

std::set<std::string> namesIn(const fs::path& folder) {
  std::set<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

TEST(WriteRestricted, makesTheFoldersAndAnOwnerOnlyFileWithOneLineFeed) {
  const TemporaryFolder home;
  const auto file = home / ".ferrin/secrets/token";
  for (const std::string text : {"abc", "", "ends with one\n", "默认"}) {
    writeRestricted(file, text);
    EXPECT_EQ(contentOf(file), text + "\n");
    EXPECT_EQ(modeOf(file), 0600U);
  }
  EXPECT_EQ(namesIn(file.parent_path()), std::set<std::string>{"token"});
}

TEST(WriteRestricted, replacesAFileWhateverItsMode) {
  const TemporaryFolder folder;
  put(folder / "token", "something much longer than what follows");
  for (const auto mode : {0644, 0400, 0000}) {
    fs::permissions(folder / "token", static_cast<fs::perms>(mode));
    writeRestricted(folder / "token", "new");
    EXPECT_EQ(contentOf(folder / "token"), "new\n");
    EXPECT_EQ(modeOf(folder / "token"), 0600U);
  }
}

TEST(WriteRestricted, leavesNothingWhereAFileIsInTheFoldersPlace) {
  const TemporaryFolder folder;
  put(folder / "secrets", "a file");
  EXPECT_THROW(writeRestricted(folder / "secrets/token", "abc"), std::system_error);
  EXPECT_EQ(contentOf(folder / "secrets"), "a file");
}

TEST(WriteRestricted, leavesAFolderInTheFilesPlaceAndNoTemporary) {
  const TemporaryFolder folder;
  put(folder / "token/inside", "kept");
  EXPECT_THROW(writeRestricted(folder / "token", "abc"), std::system_error);
  EXPECT_EQ(contentOf(folder / "token/inside"), "kept");
  EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"token"});
}

TEST(WriteRestricted, keepsTheOldFileWhenTheFolderIsReadOnly) {
  const tests::AsOrdinaryUser ordinary;
  const TemporaryFolder folder;
  put(folder / "locked/token", "old");
  fs::permissions(folder / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  EXPECT_THROW(writeRestricted(folder / "locked/token", "new"), std::system_error);
  EXPECT_EQ(contentOf(folder / "locked/token"), "old");
}

TEST(WriteRestricted, keepsTheOldFileWhenTheDiskIsFull) {
  const TemporaryFolder folder;
  if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "a small tmpfs can't be mounted here";
  }
  writeRestricted(folder / "token", "old");
  std::string message;
  try {
    writeRestricted(folder / "token", std::string(100'000, 'x'));
  } catch (const std::system_error& error) {
    message = error.what();
  }
  EXPECT_EQ(message, (folder / "token").string() + ": No space left on device");
  EXPECT_EQ(contentOf(folder / "token"), "old\n");
  EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"token"});
  umount(folder.path().c_str());
}

TEST(WriteRestricted, neverMixesTheBytesOfTwoWriters) {
  const TemporaryFolder folder;
  const auto file = folder / "token";
  const std::string first(30'000, 'a');
  const std::string second(30'000, 'b');
  writeRestricted(file, first);
  const auto write = [&file](const std::string& text) {
    for (int round = 0; round < 50; ++round) writeRestricted(file, text);
  };
  std::thread one(write, std::cref(first));
  std::thread two(write, std::cref(second));
  for (int round = 0; round < 200; ++round) {
    const std::string seen = readText(file);
    ASSERT_TRUE(seen == first + "\n" || seen == second + "\n") << seen.size() << " bytes";
  }
  one.join();
  two.join();
  EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"token"});
}

TEST(WriteRestricted, survivesAKillAtAnyMoment) {
  const TemporaryFolder folder;
  const auto file = folder / "token";
  const std::string first(50'000, 'a');
  const std::string second(50'000, 'b');
  writeRestricted(file, first);
  for (int round = 0; round < 40; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (;;) {
        writeRestricted(file, second);
        writeRestricted(file, first);
      }
    }
    usleep(static_cast<useconds_t>(300 + 173 * round));  // a different step each time, not a wait for one
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const std::string seen = readText(file);
    ASSERT_TRUE(seen == first + "\n" || seen == second + "\n") << seen.size() << " bytes";
    ASSERT_EQ(modeOf(file), 0600U);
  }
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  writeRestricted(file, "after");
  EXPECT_EQ(contentOf(file), "after\n");
  EXPECT_EQ(namesIn(folder.path()), std::set<std::string>{"token"});
}

}  // namespace
}  // namespace ferrin::core
