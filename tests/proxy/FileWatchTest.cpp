#include "proxy/FileWatch.h"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy {
namespace {

using ferrin::tests::put;
namespace fs = std::filesystem;

TEST(FileWatch, tellsOfEachChangeOnceAndIsQuietInBetween) {
  const ferrin::tests::TemporaryFolder folder;
  const ferrin::tests::TemporaryFolder elsewhere;
  const fs::path key = folder / "key";
  const fs::path target = elsewhere / "target";
  EventLoop loop;
  FileWatch watch(loop, key);
  EXPECT_TRUE(watch.mayHaveChanged());
  const std::function<void()> changes[] = {
      [&] { put(key, "made"); },
      [&] { put(key, "written over"); },
      [&] { fs::permissions(key, fs::perms::none); },
      [&] { fs::rename(key, folder / "other"); },
      [&] { fs::rename(folder / "other", key); },
      [&] { fs::remove(key); },
      [&] { fs::create_symlink(target, key); },
  };
  for (std::size_t row = 0; row < std::size(changes); ++row) {
    const auto start = Clock::now();
    loop.turn(std::chrono::milliseconds(0));
    EXPECT_TRUE(!watch.mayHaveChanged() || Clock::now() - start > std::chrono::milliseconds(200)) << row;
    changes[row]();
    loop.turn(std::chrono::milliseconds(0));
    EXPECT_TRUE(watch.mayHaveChanged()) << row;
  }
  put(target, "what a link newly leads to is found in time");
  const auto limit = Clock::now() + std::chrono::seconds(10);
  while (!watch.mayHaveChanged() && Clock::now() < limit) loop.turn(std::chrono::milliseconds(10));
  EXPECT_LT(Clock::now(), limit);
}

}  // namespace
}  // namespace ferrin::proxy
