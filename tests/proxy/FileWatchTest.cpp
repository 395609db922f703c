#include "proxy/loop/FileWatch.h"

#include <gtest/gtest.h>

#include <array>
#include <list>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy {
namespace {

using ferrin::tests::put;
namespace fs = std::filesystem;

/// Something else that comes in the same turn.
class Other : private EventHandler {
 public:
  Other(EventLoop& home, int readable, std::function<void()> told)
      : EventHandler(home), descriptor(dup(readable)), call(std::move(told)) {
    loop.watch(descriptor.get(), *this, Interest::reading);
  }

 private:
  void recordReadiness(const Readiness&) noexcept override {}
  void handleReadable() noexcept override { call(); }
  void handleWritable() noexcept override {}
  FileDescriptor descriptor;
  std::function<void()> call;
};

TEST(FileWatch, missesNothingBesideOtherEventsAndIsQuietInBetween) {
  const ferrin::tests::TemporaryFolder folder, elsewhere;
  const fs::path own = folder / "own", key = own / "key", target = elsewhere / "target";
  fs::create_directory(own);
  EventLoop loop;
  FileWatch watch(loop, key);
  EXPECT_TRUE(watch.mayHaveChanged());
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const FileDescriptor ended(ends[0]);
  close(ends[1]);
  std::list<Other> others;
  others.emplace_back(loop, ended.get(), [&] {
    watch.mayHaveChanged();
    put(key, "changed behind the answer, in the turn that a change began");
  });
  put(key, "made");
  for (int turn = 0; turn < 2; ++turn) loop.turn(std::chrono::milliseconds(0));
  EXPECT_TRUE(watch.mayHaveChanged());
  loop.post([] {});
  while (others.size() < Poller::maxReports) others.emplace_back(loop, ended.get(), [] {});
  put(key, "changed behind all that one turn takes");
  loop.turn(std::chrono::milliseconds(0));
  EXPECT_TRUE(watch.mayHaveChanged());
  others.clear();
  const std::function<void()> changes[] = {
      [&] { put(key, "written over"); },
      [&] { fs::permissions(key, fs::perms::owner_read); },
      [&] { fs::rename(key, folder / "other"); },
      [&] { fs::rename(folder / "other", key); },
      [&] { fs::rename(own, folder / "old"), put(key, "in another folder"); },
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
  put(target, "and watched from then on");
  loop.turn(std::chrono::milliseconds(0));
  EXPECT_TRUE(watch.mayHaveChanged());
}

}  // namespace
}  // namespace ferrin::proxy
