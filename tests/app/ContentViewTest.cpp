#include "app/ContentView.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

TEST(ContentView, appliesStopsAndRestores) {
  for (const bool restarts : {true, false}) {
    TestApplication app;
    tests::put(app.at.configURL, "");
    app.view->restartChatGPT = restarts;
    app.fill("n", " " + typedURL + "/", " sk-1 ", "m");
    app.view->apply();
    EXPECT_EQ(app.outcome(), "Saving relay profile and starting the private relay...; working|");
    EXPECT_EQ(tests::contentOf(app.at.upstreamURLFile), "<none>") << "not on the main thread";
    app.fill("other", "https://other.example", "sk-2", "");
    app.run(app.background);
    EXPECT_EQ(tests::contentOf(app.at.upstreamURLFile) + tests::contentOf(app.at.upstreamKeyFile),
              typedURL + "\nsk-1\n");
    EXPECT_EQ(app.asked(), "define|bootout|bootstrap|kickstart|");
    app.run(app.main);
    EXPECT_EQ(app.form(), "other|https://other.example||");
    EXPECT_EQ(app.outcome(),
              std::string("Running: relay is ready; Ferrin configuration was left unchanged; ") +
                  (restarts ? "restart ChatGPT|hide|running|" : "running|"));
    app.view->restoreOfficial();
    EXPECT_EQ(app.outcome(), "正在恢复官方 OpenAI 配置...; working|running|");
    app.finishWork();
    EXPECT_EQ(app.outcome(),
              std::string("已恢复官方 OpenAI 配置; bootout|bootout|") + (restarts ? "restart ChatGPT|" : ""));
    app.state.setRunning(true);
    app.view->stop();
    EXPECT_EQ(app.outcome(), "Relay stopped. Profiles and keys were kept.; bootout|bootout|");
    app.menu.restoreOpenAI();
    EXPECT_EQ(app.asked(), "bootout|bootout|restart ChatGPT|");
  }
}

TEST(ContentView, saysWhyAnActionFailedAndLeavesTheStateAlone) {
  TestApplication app;
  app.fill("n", typedURL, "", "m");
  const auto outcomeOf = [&app](void (ContentView::*action)()) {
    ((*app.view).*action)();
    app.finishWork();
    return app.outcome();
  };
  EXPECT_EQ(outcomeOf(&ContentView::apply), "Error: enter the provider API key; ");
  app.view->apiKey = "k";
  std::filesystem::create_directories(app.at.upstreamKeyFile);
  EXPECT_EQ(outcomeOf(&ContentView::apply),
            "Error: ~/.ferrin/secrets/openai-proxy-upstream.token: Is a directory; ");
  remove(app.at.upstreamKeyFile);
  app.bootstrapResult = {5, "Bootstrap failed: 5"};
  EXPECT_EQ(outcomeOf(&ContentView::apply), "Error: Bootstrap failed: 5; define|bootout|bootstrap|");
  EXPECT_EQ(app.form(), "n|" + typedURL + "|k|m");
  app.state.setRunning(true);
  EXPECT_EQ(outcomeOf(&ContentView::restoreOfficial), "失败：未找到 ~/.ferrin/config.toml; running|");
}

TEST(SendToProvider, showsTheAnswerOnceItIsBackOnTheMainThread) {
  TestApplication app;
  for (const auto& [url, key] : {std::pair(typedURL, " "), {"http://h/%zz", "k"}}) {
    app.fill("n", url, key, "m");
    app.view->sendToProvider();
    EXPECT_EQ(app.view->response.get(), "请先填写有效的第三方 URL 和 API Key。") << url;
    EXPECT_FALSE(app.view->isSending || app.complete) << url;
  }
  app.fill("n", typedURL, "sk-1", "m");
  app.view->response = "old";
  app.view->sendToProvider();
  EXPECT_EQ(app.view->response.get(), "");
  app.complete({.error = std::nullopt, .status = 200, .body = R"({"output_text":"Hello"})"});
  EXPECT_TRUE(app.view->isSending);
  app.run(app.main);
  EXPECT_EQ(app.view->response.get(), "Hello");
  EXPECT_FALSE(app.view->isSending);
}

TEST(ContentView, leavesNothingBehindThatTouchesItWhenItGoes) {
  TestApplication app;
  app.fill("n", typedURL, "k", "m");
  app.view->sendToProvider();
  app.view->apply();
  app.view.reset();
  app.run(app.background);
  app.complete({.error = "late", .status = std::nullopt, .body = ""});
  app.run(app.main);
  app.state.setRunning(true);
  EXPECT_EQ(app.asked(), "define|bootout|bootstrap|kickstart|");
}

}  // namespace
}  // namespace ferrin::app
