#include "proxy/AccessLog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "proxy/system/FileDescriptor.h"

namespace ferrin::proxy {
namespace {

TEST(TimeStamps, areUTCWithMilliseconds) {
  TimeStamps stamps;
  std::string out;
  for (const std::int64_t time : {1795222923999, 1795222924000, 1795222923007})
    stamps.append(out, std::chrono::system_clock::time_point(std::chrono::milliseconds(time)));
  EXPECT_EQ(out, "2026-11-21T01:02:03.999Z2026-11-21T01:02:04.000Z2026-11-21T01:02:03.007Z");
}

TEST(LogFile, isNotHeldUpByAPipeThatNobodyReads) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  LogFile log(writing.get());
  for (int line = 0; line < 200; ++line) log.write(std::string(10'000, 'x') + "\n");
  char byte = 0;
  EXPECT_EQ(read(reading.get(), &byte, 1), 1);
}

}  // namespace
}  // namespace ferrin::proxy
