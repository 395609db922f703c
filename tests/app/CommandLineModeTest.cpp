#include "app/CommandLineMode.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"
#include "tests/support/Thrown.h"

namespace ferrin::app {
namespace {

TEST(CommandLineMode, appliesWhatIsSavedUnderEitherNameOrSaysWhatIsMissing) {
  TestApplication app;
  const auto apply = [&app] { applyReferenceConfiguration(app.at, app, "/bin/true"); };
  tests::put(app.at.legacyUpstreamURLFile, " http://a// ");
  tests::put(app.at.legacyUpstreamKeyFile, "\u3000sk-密钥\r\n");
  apply();
  EXPECT_EQ(app.asked(), "define|bootout|bootstrap|kickstart|");
  EXPECT_EQ(tests::contentOf(app.at.upstreamURLFile) + tests::contentOf(app.at.upstreamKeyFile),
            "http://a\nsk-密钥\n");
  tests::put(app.at.upstreamURLFile, " http://newer/ ");
  tests::put(app.at.upstreamKeyFile, " \u3000\n");
  EXPECT_EQ(tests::thrownBy(apply), "ProviderLauncher 6: 未找到已保存的第三方 URL 或 API Key");
  EXPECT_EQ(app.asked() + tests::contentOf(app.at.upstreamURLFile), " http://newer/ ");
}

}  // namespace
}  // namespace ferrin::app
