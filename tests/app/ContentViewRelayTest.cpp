#include <gtest/gtest.h>

#include <functional>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using tests::FileTree;
using tests::put;

const std::string urlFile = ".ferrin/secrets/openai-proxy-upstream.url";
const std::string keyFile = ".ferrin/secrets/openai-proxy-upstream.token";
const std::string marker = ".ferrin/secrets/provider-launcher.running";
const std::string script = ".ferrin/bin/ferrin-third-party-proxy.py";

TEST(Apply, storesUrlAndKeyAndStartsTheRelayInTheBackground) {
  TestApplication app;
  app.fill("n", " " + typedURL + "/", " sk-1 ", "m");
  app.view->apply();
  EXPECT_TRUE(app.view->isWorking);
  EXPECT_EQ(app.view->status.get(), "Saving relay profile and starting the private relay...");
  EXPECT_TRUE(app.files().empty());
  app.fill("other", "https://other.example", "sk-2", "");
  app.dispatcher.runBackground();
  EXPECT_EQ(app.trace, (Trace{"define " + serviceLabel, "bootout " + serviceLabel,
                              "bootstrap " + serviceLabel, "kickstart " + serviceLabel}));
  EXPECT_TRUE(app.view->isWorking);
  EXPECT_FALSE(app.state.isRunning());
  app.trace.clear();
  app.dispatcher.runMain();
  EXPECT_EQ(app.view->apiKey.get(), "");
  EXPECT_FALSE(app.view->isWorking);
  EXPECT_TRUE(app.state.isRunning());
  EXPECT_EQ(app.view->status.get(), "Running: relay is ready; Ferrin configuration was left unchanged");
  EXPECT_EQ(app.trace, (Trace{"restart ChatGPT", "hide"}));
  EXPECT_EQ(app.files(), (FileTree{{urlFile, "0600 " + typedURL + "\n"},
                                   {keyFile, "0600 sk-1\n"},
                                   {script, "0700 #!/bin/sh\n"},
                                   {marker, "0600 running\n"}}));
}

TEST(Apply, leavesChatGPTAndTheWindowsAloneUnlessAsked) {
  TestApplication app;
  app.fill("n", typedURL, "sk-1", "m");
  app.view->restartChatGPT = false;
  app.view->apply();
  app.dispatcher.runBackground();
  app.dispatcher.runMain();
  EXPECT_TRUE(app.state.isRunning());
  EXPECT_EQ(app.trace.back(), "kickstart " + serviceLabel);
}

TEST(Apply, changesTheStatusAloneWhenTheFormIsRefused) {
  TestApplication app;
  const core::ProviderProfile keyless{core::UUID::random(), "n", typedURL, "m", "absent.token"};
  core::saveProfiles({keyless}, app.at);
  put(app.at.upstreamKeyFile, "sk-of-the-relay");
  app.view->appear();
  app.view->selectedProfileID = keyless.id().text();
  const FileTree before = app.files();
  app.view->apply();
  EXPECT_EQ(app.view->status.get(), "Error: enter the provider API key");
  app.fill("n", typedURL, "k", " \n");
  app.view->apply();
  EXPECT_EQ(app.view->status.get(), "Error: enter a model name");
  EXPECT_FALSE(app.view->isWorking);
  EXPECT_TRUE(app.dispatcher.idle());
  EXPECT_EQ(app.files(), before);
}

TEST(Apply, saysWhyItFailedAndLeavesTheStateAlone) {
  struct Row {
    const char* name;
    std::function<void(TestApplication&)> obstacle;
    std::string status;
    FileTree files;
    std::size_t steps;
  };
  const FileTree stored{{urlFile, "0600 " + typedURL + "\n"}, {keyFile, "0600 sk-1\n"}};
  FileTree installed = stored;
  installed[script] = "0700 #!/bin/sh\n";
  const Row rows[] = {
      {"no script", [](TestApplication& app) { fs::remove(app.resources / "proxy.py"); },
       "Error: 找不到内置代理", stored, 0},
      {"bootstrap refused",
       [](TestApplication& app) {
         app.services.bootstrapResult = {5, "Bootstrap failed: 5\n"};
       },
       "Error: Bootstrap failed: 5\n", installed, 3},
      {"kickstart refused",
       [](TestApplication& app) {
         app.services.kickstartResult = {1, ""};
       },
       "Error: ", installed, 4},
  };
  for (const Row& row : rows) {
    TestApplication app;
    row.obstacle(app);
    app.fill("n", typedURL, "sk-1", "m");
    app.view->apply();
    app.dispatcher.runBackground();
    app.dispatcher.runMain();
    EXPECT_EQ(app.status(), row.status) << row.name;
    EXPECT_FALSE(app.view->isWorking) << row.name;
    EXPECT_FALSE(app.state.isRunning()) << row.name;
    EXPECT_EQ(app.view->apiKey.get(), "sk-1") << row.name;
    EXPECT_EQ(app.files(), row.files) << row.name;
    EXPECT_EQ(app.trace.size(), row.steps) << row.name;
  }
}

TEST(RestoreOfficial, restoresFirstAndStopsTheRelayThen) {
  for (const bool restarts : {true, false}) {
    TestApplication app;
    put(app.at.configURL, "model_provider = \"custom\"");
    app.state.setRunning(true);
    app.view->restartChatGPT = restarts;
    app.view->restoreOfficial();
    EXPECT_TRUE(app.view->isWorking);
    EXPECT_EQ(app.view->status.get(), "正在恢复官方 OpenAI 配置...");
    app.dispatcher.runBackground();
    EXPECT_EQ(app.trace, (Trace{"bootout " + serviceLabel, "bootout " + localServiceLabel}));
    EXPECT_TRUE(app.state.isRunning());
    app.trace.clear();
    app.dispatcher.runMain();
    EXPECT_FALSE(app.view->isWorking);
    EXPECT_EQ(app.view->status.get(), "已恢复官方 OpenAI 配置");
    EXPECT_EQ(app.trace, restarts ? Trace{"restart ChatGPT"} : Trace{});
    EXPECT_EQ(app.files(),
              (FileTree{{".ferrin/config.toml", "0600 model_provider = \"openai\"\n"},
                        {".ferrin/config.toml.before-restore.bak", "0600 model_provider = \"custom\"\n"},
                        {marker, "0600 stopped\n"}}));
  }
}

TEST(RestoreOfficial, leavesTheRelayRunningWhenItFails) {
  TestApplication app;
  app.state.setRunning(true);
  app.view->restoreOfficial();
  app.dispatcher.runBackground();
  app.dispatcher.runMain();
  EXPECT_EQ(app.view->status.get(), "失败：未找到 ~/.ferrin/config.toml");
  EXPECT_FALSE(app.view->isWorking);
  EXPECT_TRUE(app.state.isRunning());
  EXPECT_TRUE(app.trace.empty());
}

TEST(Stop, stopsWhateverRunsAndKeepsEverythingElse) {
  TestApplication app;
  app.view->isWorking = true;
  app.view->stop();
  EXPECT_EQ(app.trace, (Trace{"bootout " + serviceLabel, "bootout " + localServiceLabel}));
  EXPECT_EQ(app.view->status.get(), "Relay stopped. Profiles and keys were kept.");
  EXPECT_TRUE(app.view->isWorking);
  EXPECT_EQ(app.files(), (FileTree{{marker, "0600 stopped\n"}}));
}

}  // namespace
}  // namespace ferrin::app
