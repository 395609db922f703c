#include "providertest/DirectRequest.h"

#include <gtest/gtest.h>

namespace ferrin::providertest {
namespace {

TEST(DirectRequest, asksOneModelOnePromptInOnePiece) {
  const auto request = directRequest("https://h/v1/responses", "sk-1", " m ", "第一\n\"second\" ");
  ASSERT_TRUE(request);
  EXPECT_EQ(request->url, "https://h/v1/responses");
  EXPECT_EQ(request->headers, (std::vector<HttpHeader>{{"Authorization", "Bearer sk-1"},
                                                       {"Content-Type", "application/json"}}));
  EXPECT_EQ(request->body, R"({"input":"第一\n\"second\" ","model":" m ","stream":false})");
  EXPECT_EQ(request->timeout, std::chrono::seconds(60));
}

TEST(DirectRequest, isNoneForWhatIsNoText) {
  EXPECT_FALSE(directRequest("https://h", "k", "m\xFF", "p"));
  EXPECT_FALSE(directRequest("https://h", "k", "m", "p\xFF"));
}

}  // namespace
}  // namespace ferrin::providertest
