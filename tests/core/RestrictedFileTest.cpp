#include "core/RestrictedFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/support/TemporaryFolder.h"
#include "tests/support/Thrown.h"

namespace ferrin::core {
namespace {

namespace fs = std::filesystem;
using tests::filesBelow;
using tests::FileTree;
using tests::put;
using tests::TemporaryFolder;

TEST(WriteRestricted, makesAnOwnerOnlyFileWithOneLineFeedWhateverWasThere) {
  const TemporaryFolder home;
  const auto file = home / ".ferrin/secrets/token";
  for (const std::string text : {"abc", "", "ends with one\n", "默认"}) {
    for (const auto mode : {0644, 0400, 0000}) {
      writeRestricted(file, text);
      EXPECT_EQ(filesBelow(home.path()), (FileTree{{".ferrin/secrets/token", "0600 " + text + "\n"}}));
      fs::permissions(file, static_cast<fs::perms>(mode));
    }
  }
}

TEST(WriteRestricted, changesNothingWhenAStepFails) {
  const tests::AsOrdinaryUser ordinary;
  const TemporaryFolder folder;
  put(folder / "file", "old");
  put(folder / "folder/inside", "old");
  put(folder / "locked/token", "old");
  fs::permissions(folder / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  const FileTree before = filesBelow(folder.path());
  for (const char* place : {"file/token", "folder", "locked/token"}) {
    EXPECT_THROW(writeRestricted(folder / place, "new"), std::system_error) << place;
    EXPECT_EQ(filesBelow(folder.path()), before) << place;
  }
}

TEST(WriteRestricted, keepsTheOldFileWhenTheDiskIsFull) {
  const TemporaryFolder folder;
  if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=64k") != 0) {
    GTEST_SKIP() << "a small tmpfs can't be mounted here";
  }
  writeRestricted(folder / "token", "old");
  EXPECT_EQ(tests::thrownBy([&] { writeRestricted(folder / "token", std::string(100'000, 'x')); }),
            (folder / "token").string() + ": No space left on device");
  EXPECT_EQ(filesBelow(folder.path()), (FileTree{{"token", "0600 old\n"}}));
  umount(folder.path().c_str());
}

struct TwoTexts {
  const TemporaryFolder folder;
  const fs::path file = folder / "token";
  const std::string first = std::string(30'000, 'a');
  const std::string second = std::string(30'000, 'b');

  TwoTexts() { writeRestricted(file, first); }

  bool holdsOneOfThem() const {
    const std::string seen = tests::contentOf(file);
    return seen == first + "\n" || seen == second + "\n";
  }
};

TEST(WriteRestricted, neverMixesTheBytesOfTwoWriters) {
  const TwoTexts texts;
  const auto write = [&texts](const std::string& text) {
    for (int round = 0; round < 50; ++round) writeRestricted(texts.file, text);
  };
  std::thread one(write, std::cref(texts.first));
  std::thread two(write, std::cref(texts.second));
  for (int round = 0; round < 200; ++round) EXPECT_TRUE(texts.holdsOneOfThem());
  one.join();
  two.join();
  EXPECT_EQ(filesBelow(texts.folder.path()).size(), 1U);
}

TEST(WriteRestricted, survivesAKillAtAnyMoment) {
  const TwoTexts texts;
  for (int round = 0; round < 40; ++round) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    while (child == 0) {
      writeRestricted(texts.file, texts.second);
      writeRestricted(texts.file, texts.first);
    }
    usleep(static_cast<useconds_t>(300 + 173 * round));  // a different step each time, not a wait for one
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_TRUE(texts.holdsOneOfThem());
    ASSERT_EQ(tests::modeOf(texts.file), 0600U);
  }
  for (const auto& entry : fs::directory_iterator(texts.folder.path())) {
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  writeRestricted(texts.file, "after");
  EXPECT_EQ(filesBelow(texts.folder.path()), (FileTree{{"token", "0600 after\n"}}));
}

}  // namespace
}  // namespace ferrin::core
