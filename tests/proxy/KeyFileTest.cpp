#include "proxy/KeyFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy {
namespace {

using ferrin::tests::put;

TEST(KeyFile, followsEveryChangeOfTheFile) {
  const ferrin::tests::TemporaryFolder folder;
  KeyFile file(folder / "key");
  put(folder / "key", " sk-1\r\n");
  EXPECT_EQ(file.current(), "sk-1");
  // Same size, same file, within one tick of the file system's clock.
  for (const char* key : {"sk-2", "sk-3", "sk-4"}) {
    put(folder / "key", std::string(key) + "\n");
    EXPECT_EQ(file.current(), key);
  }
  std::filesystem::remove(folder / "key");
  EXPECT_EQ(file.current(), "");
}

TEST(KeyFile, refusesWhatCannotBeAKey) {
  const ferrin::tests::TemporaryFolder folder;
  KeyFile file(folder / "key");
  for (const std::string& content :
       {std::string(" \n"), std::string("sk\nX-Injected: 1"), std::string("a\0b", 3), std::string("a\x7F"),
        std::string(20'000, 'k')}) {
    put(folder / "key", content);
    EXPECT_EQ(file.current(), "");
    EXPECT_EQ(file.problem().find("sk"), std::string::npos);
  }
  std::filesystem::remove(folder / "key");
  std::filesystem::create_directory(folder / "key");
  EXPECT_EQ(file.current(), "");
  EXPECT_EQ(file.problem(), (folder / "key").string() + ": Is a directory");
  std::filesystem::remove(folder / "key");
  ASSERT_EQ(mkfifo((folder / "key").c_str(), 0600), 0);  // nobody writes: waiting for that would stop all
  EXPECT_EQ(file.current(), "");
}

}  // namespace
}  // namespace ferrin::proxy
