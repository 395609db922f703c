#include "proxy/Guard.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ferrin::proxy {
namespace {

std::optional<RelayError> verdictOn(const std::string& lines, const std::string& target = "/v1/x") {
  const std::string text = "GET " + target + " HTTP/1.1\r\n" + lines + "\r\n";
  RequestHead head;
  EXPECT_TRUE(parseRequestHead(text, head)) << text;
  return refusal(head, 8787);
}

TEST(Refusal, letsOnlyRequestsForThisRelayPass) {
  for (const char* host : {"127.0.0.1:8787", "localhost:8787", "LocalHost:8787", "[::1]:8787"}) {
    EXPECT_EQ(verdictOn(std::string("Host: ") + host + "\r\n"), std::nullopt) << host;
  }
  for (const char* host :
       {"127.0.0.1", "127.0.0.1:80", "127.0.0.1:87870", "127.0.0.1:8787x", "127.0.0.1:", "127.0.0.2:8787",
        "evil.example:8787", "localhost.evil.example:8787", "127.0.0.1.evil.example:8787", "::1:8787", "",
        "a@127.0.0.1:8787", "127.0.0.1:8787, evil.example"}) {
    EXPECT_EQ(verdictOn(std::string("Host: ") + host + "\r\n"), RelayError::forbiddenHost) << host;
  }
  const std::string good = "Host: 127.0.0.1:8787\r\n";
  EXPECT_EQ(verdictOn(good, "http://127.0.0.1:8787/v1"), std::nullopt);
  EXPECT_EQ(verdictOn(good, "http://evil.example:8787/v1"), RelayError::forbiddenHost);
  EXPECT_EQ(verdictOn("Host: evil.example\r\n", "http://127.0.0.1:8787/v1"), RelayError::forbiddenHost);
}

TEST(Refusal, stopsWebPages) {
  const std::string host = "Host: 127.0.0.1:8787\r\n";
  for (const char* line : {"Origin: https://evil.example", "Origin: null", "oRiGiN: http://127.0.0.1:8787",
                           "Origin:", "Sec-Fetch-Site: cross-site", "sec-fetch-site: same-origin",
                           "Sec-Fetch-Site: same-site"}) {
    EXPECT_EQ(verdictOn(host + line + "\r\n"), RelayError::forbiddenOrigin) << line;
  }
  EXPECT_EQ(verdictOn(host + "Sec-Fetch-Site: none\r\nSec-Fetch-Mode: navigate\r\n"), std::nullopt);
  EXPECT_EQ(verdictOn(host + "Sec-Fetch-Site: none\r\nSec-Fetch-Site: cross-site\r\n"),
            RelayError::forbiddenOrigin);
}

TEST(SplitTarget, understandsTheAbsoluteForm) {
  EXPECT_EQ(splitTarget("HTTP://a:1/v1/x?y").authority, "a:1");
  EXPECT_EQ(splitTarget("HTTP://a:1/v1/x?y").pathAndQuery, "/v1/x?y");
  EXPECT_EQ(splitTarget("http://a?y").pathAndQuery, "?y");
  EXPECT_EQ(splitTarget("/v1/http://b/").authority, "");
  const std::vector<char> nothingBehind{'h', 't', 't', 'P', ':', '/', '/'};
  EXPECT_EQ(splitTarget({nothingBehind.data(), nothingBehind.size()}).pathAndQuery, "");
}

}  // namespace
}  // namespace ferrin::proxy
