#include "tools/sampleprovider/Provider.h"

#include <gtest/gtest.h>

namespace ferrin::sampleprovider {
namespace {

TEST(Provider, answersByPathKeyMethodAndBody) {
  const std::string key = "Bearer secret";
  const std::string prompt =
      R"({"input":[{"content":[{"text":"h\u00e9"}]},{"content":"b"}],"model":"m","a":{"model":7}})";
  const std::pair<Request, unsigned> rows[] = {
      {{"POST", "/v1/responses?a=b", key, prompt}, 200},
      {{"GET", "/v1/models", key, ""}, 200},
      {{"GET", "/v1/models", "Bearer wrong", ""}, 401},
      {{"POST", "/responses", key, prompt}, 404},
      {{"POST", "/v1//responses", key, prompt}, 404},
      {{"GET", "/v1/responses", key, ""}, 405},
      {{"POST", "/v1/responses", key, R"({"model":"m","input":"a"}})"}, 400},
      {{"POST", "/v1/responses", key, R"({"model":7,"input":"a"})"}, 400},
      {{"POST", "/v1/responses", key, R"({"model":"m","input":[{"content":[{"image":"a"}]}]})"}, 400},
  };
  Options options;
  options.prefix = "/v1";
  options.echo = true;
  Provider provider(options, "secret");
  for (const auto& [request, status] : rows) {
    EXPECT_EQ(provider.reply(request, 0).status, status) << request.target << " " << request.body;
  }
  EXPECT_NE(provider.reply(rows[0].first, 0).body.find("hé\\nb"), std::string::npos);
}

}  // namespace
}  // namespace ferrin::sampleprovider
