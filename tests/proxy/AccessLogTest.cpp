#include "proxy/AccessLog.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include "core/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::proxy {
namespace {

std::string formatted(const ExchangeRecord& record) {
  std::string line;
  append(line, record);
  return line;
}

TEST(ExchangeRecord, isOneLine) {
  ExchangeRecord record;
  record.method = "POST";
  record.path = "/v1/responses";
  record.status = 200;
  record.bytesIn = 1234;
  record.bytesOut = 56789;
  record.first = std::chrono::milliseconds(312);
  record.total = std::chrono::milliseconds(4211);
  record.upstream = UpstreamUse::reused;
  EXPECT_EQ(formatted(record),
            "POST /v1/responses 200 in=1234 out=56789 first=312ms total=4211ms upstream=reused end=complete");
  record.path = "/v1/a b\n\x1b[1m\xC3\xA9";
  record.first.reset();
  record.ending = Ending::truncated;
  record.cause = "closed in mid-answer";
  EXPECT_EQ(
      formatted(record),
      "POST /v1/a\\x20b\\x0A\\x1B[1m\\xC3\\xA9 200 in=1234 out=56789 first=- total=4211ms upstream=reused "
      "end=truncated cause=\"closed in mid-answer\"");
}

TEST(TimeStamps, areUTCWithMilliseconds) {
  TimeStamps stamps;
  std::string out;
  for (const std::int64_t time : {1795222923456, 1795222923999, 1795222924000, 1795222923007})
    stamps.append(out, std::chrono::system_clock::time_point(std::chrono::milliseconds(time)));
  EXPECT_EQ(
      out,
      "2026-11-21T01:02:03.456Z2026-11-21T01:02:03.999Z2026-11-21T01:02:04.000Z2026-11-21T01:02:03.007Z");
}

TEST(LogFile, dropsTheOlderHalfBeforeItOutgrowsItsLimit) {
  const ferrin::tests::TemporaryFolder folder;
  const auto path = folder / "log";
  std::string older;
  while (older.size() < 3 * LogFile::maxBytes) older += "line of a log without a limit\n";
  ferrin::tests::put(path, older);
  const core::FileDescriptor descriptor(open(path.c_str(), O_WRONLY | O_APPEND));
  LogFile log(descriptor.get());
  const std::string filler(1000, 'x');
  for (int line = 0; line < 25'000; ++line) {
    log.write("line " + std::to_string(line) + " " + filler + "\n");
    if (line % 1000 != 0) continue;
    ASSERT_LE(std::filesystem::file_size(path), LogFile::maxBytes);
  }
  const std::string content = ferrin::tests::contentOf(path);
  EXPECT_LE(content.size(), LogFile::maxBytes);
  EXPECT_GE(content.size(), LogFile::maxBytes / 2 - 2000);
  // Whole lines only, none missing up to the newest.
  std::size_t at = 0;
  int expected = std::stoi(content.substr(5, 10));
  while (at < content.size()) {
    ASSERT_EQ(content.substr(at, 5), "line ");
    ASSERT_EQ(std::stoi(content.substr(at + 5, 10)), expected++);
    at = content.find('\n', at) + 1;
  }
  EXPECT_EQ(expected, 25'000);
}

TEST(LogFile, isNotHeldUpByAPipeThatNobodyReads) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  const core::FileDescriptor reading(ends[0]);
  const core::FileDescriptor writing(ends[1]);
  LogFile log(writing.get());
  for (int line = 0; line < 200; ++line) log.write(std::string(10'000, 'x') + "\n");
  char byte = 0;
  EXPECT_EQ(read(reading.get(), &byte, 1), 1);
}

}  // namespace
}  // namespace ferrin::proxy
