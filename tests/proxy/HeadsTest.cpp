#include "proxy/Heads.h"

#include <gtest/gtest.h>

#include <string>

namespace ferrin::proxy {
namespace {

bool accepted(const std::string& requestLine, const std::string& lines) {
  const std::string text = requestLine + "\r\n" + lines + "\r\n";
  RequestHead head;
  return parseRequestHead(text, head) == text.size();
}

TEST(ParseRequestHead, refusesWhatCouldBeReadInTwoWays) {
  const std::string line = "POST /v1/x HTTP/1.1";
  const std::string host = "Host: h\r\n";
  struct Row {
    const char* name;
    std::string requestLine;
    std::string lines;
  };
  const Row rows[] = {
      {"no Host", line, ""},
      {"two Hosts", line, host + host},
      {"length and coding", line, host + "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n"},
      {"coding and length", line, host + "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n"},
      {"differing lengths", line, host + "Content-Length: 5\r\nContent-Length: 6\r\n"},
      {"differing lengths in one line", line, host + "Content-Length: 5, 6\r\n"},
      {"negative length", line, host + "Content-Length: -1\r\n"},
      {"signed length", line, host + "Content-Length: +5\r\n"},
      {"hexadecimal length", line, host + "Content-Length: 0x5\r\n"},
      {"length over 64 bits", line, host + "Content-Length: 99999999999999999999\r\n"},
      {"the same length twice in one line", line, host + "Content-Length: 5, 5\r\n"},
      {"empty length", line, host + "Content-Length:\r\n"},
      {"another coding", line, host + "Transfer-Encoding: gzip\r\n"},
      {"two codings", line, host + "Transfer-Encoding: gzip, chunked\r\n"},
      {"chunked twice", line, host + "Transfer-Encoding: chunked, chunked\r\n"},
      {"chunked in two lines", line, host + "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n"},
      {"coding with a parameter", line, host + "Transfer-Encoding: chunked;q=1\r\n"},
      {"identity coding", line, host + "Transfer-Encoding: identity\r\n"},
      {"chunked in HTTP/1.0", "POST /v1/x HTTP/1.0", "Transfer-Encoding: chunked\r\n"},
      {"folded line", line, host + "X: a\r\n b\r\n"},
      {"folded by a tab", line, host + "X: a\r\n\tb\r\n"},
      {"space before the colon", line, host + "X : a\r\n"},
      {"space before the name", line, " X: a\r\n" + host},
      {"no colon", line, host + "X\r\n"},
      {"empty name", line, host + ": a\r\n"},
      {"NUL in a value", line, host + "X: a" + std::string(1, '\0') + "\r\n"},
      {"bare CR in a value", line, host + "X: a\rb\r\n"},
      {"control character in a name", line, host + "X\x01: a\r\n"},
      {"HTTP/2.0", "POST /v1/x HTTP/2.0", host},
      {"HTTP/1.2", "POST /v1/x HTTP/1.2", host},
      {"HTTP/0.9", "GET /v1/x", ""},
      {"lower-case version", "POST /v1/x http/1.1", host},
      {"two spaces", "POST  /v1/x HTTP/1.1", host},
      {"space in the target", "POST /v1/x y HTTP/1.1", host},
      {"no target", "POST HTTP/1.1", host},
      {"bytes behind the version", "POST /v1/x HTTP/1.1 ", host},
      {"method with a colon", "PO:ST /v1/x HTTP/1.1", host},
      {"CONNECT", "CONNECT /v1/x HTTP/1.1", host},
      {"fragment", "GET /v1/x#y HTTP/1.1", host},
  };
  for (const Row& row : rows) EXPECT_FALSE(accepted(row.requestLine, row.lines)) << row.name;
  EXPECT_TRUE(accepted(line, host));
  EXPECT_TRUE(accepted(line, host + "Content-Length: 5\r\nContent-Length: 5\r\n"));
  EXPECT_TRUE(accepted(line, host + "transfer-encoding: Chunked\r\n"));
  EXPECT_TRUE(accepted("BREW /v1/\xC3\xA9 HTTP/1.1", host + "X: \xC3\xA9\r\n"));
  EXPECT_TRUE(accepted("GET /v1 HTTP/1.0", ""));
}

bool accepted(std::string_view answer, AnswerHead& head) {
  return parseAnswerHead(answer, head) == answer.size();
}

TEST(ParseAnswerHead, takesOrRefuses) {
  AnswerHead head;
  ASSERT_TRUE(
      accepted("HTTP/1.1 429 Too Many Requests\r\nRetry-After: 7\r\nContent-Length: 2\r\n\r\n", head));
  EXPECT_EQ(head.status, 429);
  EXPECT_EQ(head.reason, "Too Many Requests");
  EXPECT_EQ(head.contentLength, 2U);
  for (const char* noReason : {"HTTP/1.1 200 \r\n\r\n", "HTTP/1.1 200\r\n\r\n"}) {
    EXPECT_TRUE(accepted(noReason, head) && head.status == 200 && head.reason.empty()) << noReason;
  }
  EXPECT_FALSE(head.contentLength);
  for (const char* bodiless : {"HTTP/1.1 204 None\r\nContent-Length: 1\r\n\r\n",
                               "HTTP/1.1 103 Hints\r\nTransfer-Encoding: chunked\r\n\r\n"}) {
    EXPECT_TRUE(accepted(bodiless, head) && !head.contentLength && !head.chunked) << bodiless;
  }
  for (const char* bad :
       {"HTTP/1.1 20 OK\r\n\r\n", "HTTP/1.1 099 OK\r\n\r\n", "HTTP/1.1 2000 OK\r\n\r\n", "ICY 200 OK\r\n\r\n",
        "HTTP/1.1 200OK\r\n\r\n", "HTTP/1.1 200\tOK\r\n\r\n", "HTTP/1.1\r\n\r\n",
        "HTTP/1.1 200 OK\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: gzip\r\n\r\n", "SSH-2.0-OpenSSH_9\r\n\r\n"}) {
    EXPECT_EQ(parseAnswerHead(bad, head), malformedHead) << bad;
  }
}

TEST(ParseRequestHead, waitsForTheEmptyLineWhereverTheBytesWereCut) {
  const std::string size = "GET / HTTP/1.1\r\nHost: h\r\n\r\n";
  const std::string bytes = size + "body\r\n\r\n";
  RequestHead head;
  for (std::size_t cut = 0; cut < size.size(); ++cut) {
    EXPECT_EQ(parseRequestHead(bytes.substr(0, cut), head), 0U) << cut;
    EXPECT_TRUE(mayBeWholeHead(bytes, cut)) << cut;
    EXPECT_EQ(mayBeWholeHead(bytes.substr(0, cut), 1), false) << cut;
  }
  EXPECT_EQ(parseRequestHead(bytes, head), size.size());
  for (const char* bad : {"GET / HTTP/1.1\n", "\n", "GET / HTTP/1.1\r\nHost: h\n", "a\r", "\x16\x03\x01"}) {
    EXPECT_EQ(parseRequestHead(bad, head), malformedHead) << bad;
    EXPECT_TRUE(mayBeWholeHead(bad, 0)) << bad;
  }
  EXPECT_TRUE(mayBeWholeHead("GET / HTTP/1.1\r\nHost: h\n", 20));
}

TEST(ConnectionHas, readsListsInAllLines) {
  RequestHead head;
  ASSERT_NE(parseRequestHead("GET / HTTP/1.1\r\nHost: h\r\nConnection: a ,, b\r\nConnection:\tClose \r\n\r\n",
                             head),
            malformedHead);
  for (const char* token : {"a", "B", "close"}) EXPECT_TRUE(head.connectionHas(token)) << token;
  EXPECT_FALSE(head.connectionHas("clos"));
  EXPECT_FALSE(head.connectionHas(""));
}

}  // namespace
}  // namespace ferrin::proxy
