#include "core/RestrictedFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::core {
namespace {

namespace fs = std::filesystem;
using tests::filesBelow;
using tests::FileTree;
using tests::put;

TEST(WriteRestricted, makesAnOwnerOnlyFileWithOneLineFeedWhateverWasThere) {
  const tests::TemporaryFolder home;
  const auto file = home / ".ferrin/secrets/token";
  for (const std::string text : {"abc", "", "ends with one\n", "默认"}) {
    writeRestricted(file, text);
    EXPECT_EQ(filesBelow(home.path()), (FileTree{{".ferrin/secrets/token", "0600 " + text + "\n"}}));
    fs::permissions(file, text.empty() ? fs::perms::none : fs::perms(0644));
  }
}

TEST(WriteRestricted, changesNothingWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  const tests::TemporaryFolder folder;
  for (const char* file : {"file", "folder/inside", "locked/token"}) put(folder / file, "old");
  fs::permissions(folder / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  const FileTree before = filesBelow(folder.path());
  for (const char* place : {"file/token", "folder", "locked/token"}) {
    EXPECT_THROW(writeRestricted(folder / place, "new"), std::system_error) << place;
    EXPECT_EQ(filesBelow(folder.path()), before) << place;
  }
}

TEST(WriteRestricted, keepsTheOldFileWhenTheDiskIsFull) {
  const tests::TemporaryFolder folder;
  if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "a small tmpfs can't be mounted here";
  }
  writeRestricted(folder / "token", "old");
  EXPECT_EQ(tests::thrownBy([&] { writeRestricted(folder / "token", std::string(100'000, 'x')); }),
            (folder / "token").string() + ": No space left on device");
  EXPECT_EQ(filesBelow(folder.path()), (FileTree{{"token", "0600 old\n"}}));
  umount(folder.path().c_str());
}

TEST(WriteRestricted, neverShowsAMixOfTwoWritersEvenIfTheyAreKilled) {
  const tests::TemporaryFolder folder;
  const auto file = folder / "token";
  const std::string texts[] = {std::string(30'000, 'a'), std::string(30'000, 'b')};
  writeRestricted(file, texts[0]);
  for (int round = 0; round < 40; ++round) {
    pid_t writers[2];
    for (int writer = 0; writer < 2; ++writer) {
      ASSERT_GE(writers[writer] = fork(), 0);
      while (writers[writer] == 0) writeRestricted(file, texts[writer]);
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(300 + 173 * round);
    do {
      const std::string seen = tests::contentOf(file);
      EXPECT_TRUE(seen == texts[0] + "\n" || seen == texts[1] + "\n") << seen.size();
    } while (std::chrono::steady_clock::now() < end);
    for (const pid_t writer : writers) {
      kill(writer, SIGKILL);
      waitpid(writer, nullptr, 0);
    }
    ASSERT_EQ(tests::modeOf(file), 0600U);
  }
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  writeRestricted(file, "after");
  EXPECT_EQ(filesBelow(folder.path()), (FileTree{{"token", "0600 after\n"}}));
}

}  // namespace
}  // namespace ferrin::core
