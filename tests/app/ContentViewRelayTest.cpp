#include <gtest/gtest.h>

#include <functional>

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

TEST(RelayActions, sayWhyTheyFailedAndLeaveTheStateAlone) {
  struct Row {
    std::string status;
    std::function<void(TestApplication&)> obstacle;
    bool applies;  // else restores
    std::string steps;
  };
  const std::string label = "com.ferrin.third-party-proxy\n";
  const Row rows[] = {
      {"Error: enter a model name", [](auto& app) { app.view->model = " \n"; }, true, ""},
      {"Error: enter the provider API key",
       [](auto& app) {
         app.view->saveProfile();
         for (const auto& file : std::filesystem::directory_iterator(app.at.secretDirectory)) remove(file);
       },
       true, ""},
      {"Error: ~/.ferrin/secrets/openai-proxy-upstream.token: Is a directory",
       [](auto& app) { tests::put(app.at.upstreamKeyFile / "inside", ""); }, true, ""},
      {"Error: Bootstrap failed: 5\n",
       [](auto& app) {
         app.services.bootstrapResult = {5, "Bootstrap failed: 5\n"};
       },
       true, "define " + label + "bootout " + label + "bootstrap " + label},
      {"失败：未找到 ~/.ferrin/config.toml", [](auto&) {}, false, ""},
      {"失败：~/.ferrin/config.toml.before-restore.bak: Is a directory",
       [](auto& app) {
         tests::put(app.at.configURL, "");
         tests::put(app.at.ferrinHome / "config.toml.before-restore.bak/inside", "");
       },
       false, ""},
  };
  for (const Row& row : rows) {
    TestApplication app;
    app.fill("n", typedURL, "k", "m");
    row.obstacle(app);
    app.state.setRunning(!row.applies);
    const std::string form = app.form();
    row.applies ? app.view->apply() : app.view->restoreOfficial();
    app.dispatcher.runBackground();
    app.dispatcher.runMain();
    EXPECT_EQ(app.status(), row.status);
    EXPECT_EQ(app.trace.take(), row.steps) << row.status;
    EXPECT_EQ(app.form(), form) << row.status;
    EXPECT_FALSE(app.view->isWorking) << row.status;
    EXPECT_EQ(app.state.isRunning(), !row.applies) << row.status;
  }
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
