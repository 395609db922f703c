#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

TEST(Apply, storesUrlAndKeyAndStartsTheRelayInTheBackground) {
  for (const bool restarts : {true, false}) {
    TestApplication app;
    app.fill("n", " " + typedURL + "/", " sk-1 ", "m");
    app.view->restartChatGPT = restarts;
    app.view->apply();
    EXPECT_EQ(app.status(), "Saving relay profile and starting the private relay...");
    EXPECT_TRUE(app.files().empty());
    app.fill("other", "https://other.example", "sk-2", "");
    app.dispatcher.runBackground();
    EXPECT_EQ(app.trace.take(),
              "define com.ferrin.third-party-proxy\nbootout "
              "com.ferrin.third-party-proxy\n"
              "bootstrap com.ferrin.third-party-proxy\nkickstart "
              "com.ferrin.third-party-proxy\n");
    EXPECT_TRUE(app.view->isWorking && !app.state.isRunning());
    app.dispatcher.runMain();
    EXPECT_TRUE(!app.view->isWorking && app.state.isRunning());
    EXPECT_EQ(app.form(), "other|https://other.example||");
    EXPECT_EQ(app.status(), "Running: relay is ready; Ferrin configuration was left unchanged");
    EXPECT_EQ(app.trace.take(), restarts ? "restart ChatGPT\nhide\n" : "");
    EXPECT_EQ(tests::contentOf(app.at.upstreamURLFile), typedURL + "\n");
    EXPECT_EQ(tests::contentOf(app.at.upstreamKeyFile), "sk-1\n");
  }
}

TEST(Apply, saysWhyNotAndLeavesTheStateAlone) {
  TestApplication app;
  app.fill("n", typedURL, "k", " \n");
  app.view->apply();
  EXPECT_EQ(app.status(), "Error: enter a model name");
  EXPECT_TRUE(app.dispatcher.idle() && !app.view->isWorking);

  app.services.bootstrapResult = {5, "Bootstrap failed: 5\n"};
  app.view->model = "m";
  app.view->apply();
  app.dispatcher.runBackground();
  app.dispatcher.runMain();
  EXPECT_EQ(app.status(), "Error: Bootstrap failed: 5\n");
  EXPECT_FALSE(app.view->isWorking || app.state.isRunning());
  EXPECT_EQ(app.view->apiKey.get(), "k");
  EXPECT_TRUE(app.trace.take().ends_with("bootstrap com.ferrin.third-party-proxy\n"));
  EXPECT_FALSE(exists(app.at.runningMarker));
}

TEST(RestoreOfficial, restoresFirstAndStopsTheRelayThen) {
  for (const bool restarts : {true, false}) {
    TestApplication app;
    tests::put(app.at.configURL, "");
    app.state.setRunning(true);
    app.view->restartChatGPT = restarts;
    app.view->restoreOfficial();
    EXPECT_EQ(app.status(), "正在恢复官方 OpenAI 配置...");
    app.dispatcher.runBackground();
    EXPECT_EQ(app.trace.take(), stopSteps);
    EXPECT_TRUE(app.view->isWorking && app.state.isRunning());
    app.dispatcher.runMain();
    EXPECT_FALSE(app.view->isWorking);
    EXPECT_EQ(app.status(), "已恢复官方 OpenAI 配置");
    EXPECT_EQ(app.trace.take(), restarts ? "restart ChatGPT\n" : "");
  }
}

TEST(Stop, stopsWhateverRunsAndKeepsEverythingElse) {
  TestApplication app;
  app.view->stop();
  EXPECT_EQ(app.trace.take(), stopSteps);
  EXPECT_EQ(app.status(), "Relay stopped. Profiles and keys were kept.");
  EXPECT_EQ(app.files(), (tests::FileTree{{".ferrin/secrets/provider-launcher.running", "0600 stopped\n"}}));
}

}  // namespace
}  // namespace ferrin::app
