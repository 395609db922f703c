#include "app/ContentView.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

using tests::contentOf;
using tests::put;

TEST(ContentView, asksForTheStateAndTheSavedConfigurationEachTimeItAppears) {
  TestApplication app;
  app.view->appear();
  EXPECT_EQ(app.form() + app.status(), "默认|||gpt-5.6-terraRelay is stopped");
  EXPECT_TRUE(tests::filesBelow(app.home.path()).empty());
  core::saveProfiles({{core::UUID::random(), "a", "u", "m", "k"}}, app.at);
  put(app.at.runningMarker, "running\n");
  put(app.at.upstreamURLFile, " https://one.example/ \n");
  int told = 0;
  const auto subscription = app.view->subscribe([&told] { ++told; });
  app.view->appear();
  EXPECT_TRUE(app.state.isRunning());
  EXPECT_EQ(app.form(), "默认|https://one.example||gpt-5.6-terra");
  EXPECT_EQ(told, 3) << "of the state, the profiles and the address";
}

TEST(ContentView, appliesStopsAndRestores) {
  for (const bool restarts : {true, false}) {
    TestApplication app;
    put(app.at.configURL, "");
    app.view->restartChatGPT = restarts;
    app.fill("n", " " + typedURL + "/", " sk-1 ", "m");
    app.view->apply();
    EXPECT_EQ(app.status(), "Saving relay profile and starting the private relay...");
    EXPECT_EQ(contentOf(app.at.upstreamURLFile), "<none>") << "not on the main thread";
    app.fill("other", "https://other.example", "sk-2", "");
    app.run(app.background);
    EXPECT_EQ(contentOf(app.at.upstreamURLFile) + contentOf(app.at.upstreamKeyFile), typedURL + "\nsk-1\n");
    EXPECT_EQ(app.asked(), "define|bootout|bootstrap|kickstart|");
    EXPECT_TRUE(app.view->isWorking && !app.state.isRunning());
    app.run(app.main);
    EXPECT_TRUE(!app.view->isWorking && app.state.isRunning());
    EXPECT_EQ(app.form(), "other|https://other.example||");
    EXPECT_EQ(app.status(), "Running: relay is ready; Ferrin configuration was left unchanged");
    EXPECT_EQ(app.asked(), restarts ? "restart ChatGPT|hide|" : "");

    app.view->stop();
    EXPECT_EQ(app.asked(), "bootout|bootout|");
    EXPECT_FALSE(app.state.isRunning());
    EXPECT_EQ(app.status(), "Relay stopped. Profiles and keys were kept.");

    app.state.setRunning(true);
    app.view->restoreOfficial();
    EXPECT_EQ(app.status(), "正在恢复官方 OpenAI 配置...");
    app.finishWork();
    EXPECT_TRUE(!app.view->isWorking && !app.state.isRunning());
    EXPECT_EQ(app.status(), "已恢复官方 OpenAI 配置");
    EXPECT_EQ(app.asked(), restarts ? "bootout|bootout|restart ChatGPT|" : "bootout|bootout|");
    app.menu.restoreOpenAI();
    EXPECT_EQ(app.asked(), "bootout|bootout|restart ChatGPT|");
  }
}

TEST(ContentView, saysWhyAnActionFailedAndLeavesTheStateAlone) {
  TestApplication app;
  app.fill("n", typedURL, "", "m");
  const auto statusAfter = [&app](void (ContentView::*action)(), bool runs) {
    app.state.setRunning(runs);
    ((*app.view).*action)();
    app.finishWork();
    EXPECT_TRUE(!app.view->isWorking && app.state.isRunning() == runs) << app.status();
    return app.status();
  };
  EXPECT_EQ(statusAfter(&ContentView::restoreOfficial, true), "失败：未找到 ~/.ferrin/config.toml");
  EXPECT_EQ(statusAfter(&ContentView::apply, false), "Error: enter the provider API key");
  app.view->apiKey = "k";
  std::filesystem::create_directories(app.at.upstreamKeyFile);
  EXPECT_EQ(statusAfter(&ContentView::apply, false),
            "Error: ~/.ferrin/secrets/openai-proxy-upstream.token: Is a directory");
  EXPECT_EQ(app.asked(), "");
  remove(app.at.upstreamKeyFile);
  app.bootstrapResult = {5, "Bootstrap failed: 5\n"};
  EXPECT_EQ(statusAfter(&ContentView::apply, false), "Error: Bootstrap failed: 5\n");
  EXPECT_EQ(app.asked() + app.form(), "define|bootout|bootstrap|n|" + typedURL + "|k|m");
}

TEST(SendToProvider, showsTheAnswerOnceItIsBackOnTheMainThread) {
  TestApplication app;
  for (const auto& [url, key] : {std::pair(typedURL, " "), {"http://h/%zz", "k"}}) {
    app.fill("n", url, key, "m");
    app.view->sendToProvider();
    EXPECT_EQ(app.view->response.get(), "请先填写有效的第三方 URL 和 API Key。") << url;
    EXPECT_FALSE(app.view->isSending || app.complete) << url;
  }
  app.fill("n", " " + typedURL + "/ ", " sk-1 ", " m ");
  app.view->prompt = " first\nsecond ";
  app.view->sendToProvider();
  EXPECT_EQ(app.view->response.get(), "");
  EXPECT_EQ(app.request.url, typedURL + "/responses");
  EXPECT_EQ(app.request.headers.at(0), (providertest::HttpHeader{"Authorization", "Bearer sk-1"}));
  EXPECT_EQ(app.request.body, R"({"input":" first\nsecond ","model":" m ","stream":false})");
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
