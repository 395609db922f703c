#include "proxy/Framing.h"

#include <gtest/gtest.h>

#include <string>

namespace ferrin::proxy {
namespace {

BodyFraming chunked() {
  RequestHead head;
  head.chunked = true;
  return BodyFraming::ofRequest(head);
}

/// Feeds `body` in blocks of `size`: what the framing says of it.
struct Outcome {
  std::size_t belonging = 0;
  bool complete = false;
  bool valid = true;
  std::string payload;
};
Outcome fed(std::string_view body, std::size_t size) {
  BodyFraming framing = chunked();
  Outcome outcome;
  while (!body.empty() && outcome.valid && !framing.complete()) {
    const auto step = framing.follow(body.substr(0, size), &outcome.payload);
    outcome.belonging += step.belonging;
    outcome.valid = step.valid;
    body.remove_prefix(std::min(size, body.size()));
  }
  outcome.complete = framing.complete();
  return outcome;
}

TEST(ChunkedFraming, endsAtTheSameByteHoweverTheBytesCome) {
  struct Row {
    const char* body;
    const char* payload;
  };
  const Row rows[] = {
      {"0\r\n\r\n", ""},
      {"5\r\nhello\r\n0\r\n\r\n", "hello"},
      {"00A\r\n0123456789\r\n000\r\n\r\n", "0123456789"},
      {"a;name=\"v;\\\"\" ; x\r\n0123456789\r\nB \t;e\r\nabcdefghijk\r\n0;last\r\n\r\n",
       "0123456789abcdefghijk"},
      {"1\r\n\r\r\n1\r\n\n\r\n0\r\nTrailer: v\r\nOther: w\r\n\r\n", "\r\n"},
  };
  for (const Row& row : rows) {
    const std::string body = row.body;
    for (std::size_t size = 1; size <= body.size() + 4; ++size) {
      const Outcome outcome = fed(body + "next", size);
      EXPECT_TRUE(outcome.complete && outcome.valid) << row.body << " in blocks of " << size;
      EXPECT_EQ(outcome.belonging, body.size());
      EXPECT_EQ(outcome.payload, row.payload);
    }
  }
}

TEST(ChunkedFraming, refusesWhatIsNotChunks) {
  const std::string longExtension = "5;" + std::string(5000, 'x') + "\r\nhello\r\n0\r\n\r\n";
  const std::string longTrailers = "0\r\nT: " + std::string(17000, 'x') + "\r\n\r\n";
  // clang-format off
  const std::string bad[] = {
      "\r\n", "g\r\n", " 5\r\nhello\r\n", "5\nhello\r\n", "5\r\nhello0\r\n", "5 \r\nhello\r\n", "-5\r\n", "0x5\r\nhello\r\n",
      "5\r\nhello\n0", "5;\nx\r\n", "5;a\x01\r\n", "0\r\n T:\r\n", "0\r\nT\r\n\r\n", "0\r\nT :\r\n\r\n", "0\r\nT:\n\r\n",
      "0\r\n\rx", "1234567890abcdef\r\n", "5\r\r\n", longExtension, longTrailers};
  // clang-format on
  for (const std::string& body : bad) {
    for (const std::size_t size : {std::size_t{1}, body.size()}) {
      const Outcome outcome = fed(body, size);
      EXPECT_FALSE(outcome.valid) << body.substr(0, 40);
      EXPECT_FALSE(outcome.complete);
    }
  }
}

TEST(BodyFraming, followsTheHead) {
  AnswerHead head;
  head.status = 200;
  EXPECT_EQ(BodyFraming::ofAnswer(head, "GET").kind(), BodyFraming::Kind::untilClose);
  head.contentLength = 3;
  BodyFraming length = BodyFraming::ofAnswer(head, "GET");
  EXPECT_EQ(length.follow("ab").belonging, 2U);
  EXPECT_FALSE(length.complete());
  EXPECT_EQ(length.follow("cd").belonging, 1U);
  EXPECT_TRUE(length.complete());
  EXPECT_EQ(length.contentBytes(), 3U);
  EXPECT_TRUE(BodyFraming::ofAnswer(head, "HEAD").complete());
  for (const int status : {204, 304}) {
    head.status = status;
    EXPECT_TRUE(BodyFraming::ofAnswer(head, "GET").complete()) << status;
  }
}

}  // namespace
}  // namespace ferrin::proxy
