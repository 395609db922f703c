// In a network of its own, where every way ends at once, and the reason names the host that was to be asked.

#include "tests/support/ProxyWays.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <future>

#include "providertest/CurlClient.h"
#include "providertest/DirectRequest.h"

namespace ferrin::providertest {
namespace {

using testing::HasSubstr;

std::string reasonFor(const std::string& url) {
  std::promise<std::string> reason;
  CurlClient client;
  client.send(*directRequest(url, "sk-secret", "m", "p"),
              [&reason](const HttpResult& result) { reason.set_value(result.error.value_or("answered")); });
  return reason.get_future().get();
}

/// What libcurl's reason holds when it goes a row's way. It names no port where it fails to find the host.
std::string traceOf(const std::string& way) {
  const std::string place = way.substr(0, way.find(" as ")).substr(way.find(' ') + 1);
  const std::string host = place.substr(0, place.rfind(':'));
  if (host == "p.test") return "p.test";
  return " " + tests::replaced(tests::replaced(host, "[", ""), "]", "") + " port " +
         place.substr(place.rfind(':') + 1) + " ";
}

TEST(CurlClient, goesTheWayThatTheRelayGoes) {
  for (const tests::ProxyWay& row : tests::proxyWays(PROXY_WAYS)) {
    row.apply();
    const std::string reason = reasonFor(row.url);
    SCOPED_TRACE(row.name + ": " + reason);
    EXPECT_THAT(reason, testing::Not(HasSubstr("secret")));
    const auto meetsAProxy = testing::AnyOf(HasSubstr("p.test"), HasSubstr("q.test"), HasSubstr("proxy"));
    if (row.expected == "direct") {
      EXPECT_THAT(reason, testing::Not(meetsAProxy));
    } else if (row.expected.starts_with("none: ")) {
      EXPECT_THAT(reason, meetsAProxy);
    } else {
      EXPECT_THAT(reason, HasSubstr(traceOf(row.expected)));
    }
  }
}

}  // namespace
}  // namespace ferrin::providertest
