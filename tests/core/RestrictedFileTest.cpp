#include "core/RestrictedFile.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <chrono>
#include <fstream>

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
  files["new/folders/token"] = "0600 默认\n\n";
  files["file"] = "0600 \n";
  writeRestricted(folder / "new/folders/token", "默认\n");
  writeRestricted(folder / "file", "");
  EXPECT_EQ(filesBelow(folder.path()), files);
}

TEST(WriteRestricted, replacesTheFileUnderItsReadersAndClearsWhatAKilledWriterLeft) {
  const tests::TemporaryFolder folder;
  tests::put(folder / "token", "old");
  tests::put(folder / ".token.new-young0", "");
  for (const char* name :
       {".token.new-aged00", ".other.new-aged00", ".token.new-aged", ".token.new-aged_0"}) {
    tests::put(folder / name, "");
    fs::last_write_time(folder / name, fs::file_time_type::clock::now() - std::chrono::hours(1));
  }
  std::ifstream reader(folder / "token");
  writeRestricted(folder / "token", "new");
  std::string seen;
  EXPECT_TRUE(reader >> seen && seen == "old") << seen;
  EXPECT_EQ(filesBelow(folder.path()), (tests::FileTree{{"token", "0600 new\n"},
                                                        {".token.new-young0", "0644 "},
                                                        {".other.new-aged00", "0644 "},
                                                        {".token.new-aged", "0644 "},
                                                        {".token.new-aged_0", "0644 "}}));
}

}  // namespace
}  // namespace ferrin::core
