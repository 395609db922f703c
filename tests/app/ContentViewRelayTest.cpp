#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

using tests::FileTree;
using tests::put;

const std::string marker = ".ferrin/secrets/provider-launcher.running";

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
              "define com.ferrin.third-party-proxy\nbootout com.ferrin.third-party-proxy\n"
              "bootstrap com.ferrin.third-party-proxy\nkickstart com.ferrin.third-party-proxy\n");
    EXPECT_TRUE(app.view->isWorking && !app.state.isRunning());
    app.dispatcher.runMain();
    EXPECT_TRUE(!app.view->isWorking && app.state.isRunning());
    EXPECT_EQ(app.form(), "other|https://other.example||");
    EXPECT_EQ(app.status(), "Running: relay is ready; Ferrin configuration was left unchanged");
    EXPECT_EQ(app.trace.take(), restarts ? "restart ChatGPT\nhide\n" : "");
    EXPECT_EQ(app.files(), (FileTree{{".ferrin/secrets/openai-proxy-upstream.url", "0600 " + typedURL + "\n"},
                                     {".ferrin/secrets/openai-proxy-upstream.token", "0600 sk-1\n"},
                                     {".ferrin/bin/ferrin-third-party-proxy.py", "0700 #!/bin/sh\n"},
                                     {marker, "0600 running\n"}}));
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
  EXPECT_FALSE(app.files().contains(marker));
}

TEST(RestoreOfficial, restoresFirstAndStopsTheRelayThen) {
  for (const bool restarts : {true, false}) {
    TestApplication app;
    put(app.at.configURL, "model_provider = \"custom\"");
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
    EXPECT_EQ(app.files(),
              (FileTree{{".ferrin/config.toml", "0600 model_provider = \"openai\"\n"},
                        {".ferrin/config.toml.before-restore.bak", "0600 model_provider = \"custom\"\n"},
                        {marker, "0600 stopped\n"}}));
  }
}

TEST(Stop, stopsWhateverRunsAndKeepsEverythingElse) {
  TestApplication app;
  app.view->isWorking = true;
  app.view->stop();
  EXPECT_EQ(app.trace.take(), stopSteps);
  EXPECT_EQ(app.status(), "Relay stopped. Profiles and keys were kept.");
  EXPECT_TRUE(app.view->isWorking);
  EXPECT_EQ(app.files(), (FileTree{{marker, "0600 stopped\n"}}));
}

}  // namespace
}  // namespace ferrin::app
