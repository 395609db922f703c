#include "core/RestrictedFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::core {
namespace {

namespace fs = std::filesystem;
using tests::filesBelow;

TEST(WriteRestricted, makesAnOwnerOnlyFileOrChangesNothingWhicheverStepFails) {
  const tests::AsOrdinaryUser ordinary;
  const tests::TemporaryFolder folder;
  for (const char* file : {"file", "folder/inside", "locked/token"}) tests::put(folder / file, "old");
  fs::permissions(folder / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  tests::FileTree files = filesBelow(folder.path());
  signal(SIGXFSZ, SIG_IGN);
  const rlimit small{10'000, RLIM_INFINITY}, none{RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &small);
  for (const char* place : {"file", "file/token", "folder", "locked/token"}) {
    EXPECT_THROW(writeRestricted(folder / place, std::string(20'000, 'x')), std::system_error) << place;
    EXPECT_EQ(filesBelow(folder.path()), files) << place;
  }
  setrlimit(RLIMIT_FSIZE, &none);
  files["new/folders/token"] = "0600 默认\n";
  files["file"] = "0600 \n";
  writeRestricted(folder / "new/folders/token", "默认");
  writeRestricted(folder / "file", "");
  EXPECT_EQ(filesBelow(folder.path()), files);
}

TEST(WriteRestricted, neverShowsAMixWhenAWriterIsKilledAndClearsWhatThatOneLeft) {
  const tests::TemporaryFolder folder;
  const auto file = folder / "token";
  const std::string texts[] = {std::string(30'000, 'a'), std::string(30'000, 'b')};
  for (int round = 0; round < 40; ++round) {
    writeRestricted(file, texts[0]);
    const pid_t writer = fork();
    while (writer == 0) writeRestricted(file, texts[1]);
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(300 + 173 * round);
    do {
      const std::string seen = tests::contentOf(file);
      EXPECT_TRUE(seen == texts[0] + "\n" || seen == texts[1] + "\n") << seen.size();
    } while (std::chrono::steady_clock::now() < end);
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
  }
  for (const auto& entry : fs::directory_iterator(folder.path())) {
    fs::last_write_time(entry.path(), fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  writeRestricted(file, "after");
  EXPECT_EQ(filesBelow(folder.path()), (tests::FileTree{{"token", "0600 after\n"}}));
}

}  // namespace
}  // namespace ferrin::core
