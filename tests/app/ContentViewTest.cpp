#include "app/ContentView.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;

fs::path keyFileOf(const TestApplication& app) {
  return app.at.secretDirectory / ("provider-key-" + app.view->selectedProfileID.get() + ".token");
}

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

TEST(SaveProfile, storesANewProfileChangesItInPlaceAndLoadsItWhenItIsPicked) {
  TestApplication app;
  app.fill(" Work\n", "  " + typedURL + "/  ", " sk-1\n", " m ");
  app.view->saveProfile();
  EXPECT_EQ(app.form(), "Work|" + typedURL + "||m");
  const fs::path keyFile = keyFileOf(app);

  app.fill(" renamed ", typedURL + "//", "", "m2 ");
  app.view->saveProfile();
  EXPECT_EQ(app.form(), " renamed |" + typedURL + "//||m2 ");
  const core::ProviderProfile renamed{*core::UUID::parse(app.view->selectedProfileID.get()), "renamed",
                                      typedURL, "m2", keyFile.filename().string()};

  app.view->selectedProfileID = "none";
  app.fill("another", typedURL, "sk-2", "m");
  app.view->saveProfile();
  EXPECT_EQ(tests::contentOf(keyFile) + tests::contentOf(keyFileOf(app)), "sk-1\nsk-2\n");
  EXPECT_EQ(app.view->profiles.get().at(1), renamed) << "they are sorted by name";
  EXPECT_EQ(app.view->profiles.get(), core::loadProfiles(app.at));
  app.view->apiKey = "typed";
  app.view->selectedProfileID = renamed.id().text();
  EXPECT_EQ(app.form(), "renamed|" + typedURL + "||m2");
}

TEST(SaveProfile, saysWhatIsMissingOrWhichFileFailedAndKeepsTheRest) {
  TestApplication app;
  const auto statusAfterSaving = [&app](const auto&... typed) {
    app.fill(typed...);
    const std::string form = app.form();
    app.view->saveProfile();
    EXPECT_EQ(app.form(), form);
    return tests::replaced(app.status(), keyFileOf(app).filename().string(), "KEY");
  };
  const std::string incomplete = "Error: profile name, URL and model are required";
  EXPECT_EQ(statusAfterSaving(" \n", typedURL, "k", "m"), incomplete);
  EXPECT_EQ(statusAfterSaving("n", " /// ", "k", "m"), incomplete);
  EXPECT_EQ(statusAfterSaving("n", typedURL, "k", "\t"), incomplete);
  EXPECT_EQ(statusAfterSaving("n", typedURL, " ", "m"), "Error: enter the API key once before saving");
  EXPECT_TRUE(tests::filesBelow(app.home.path()).empty());

  app.fill("old", typedURL, "sk-old", "m");
  app.view->saveProfile();
  const fs::path keyFile = keyFileOf(app);
  fs::permissions(app.at.secretDirectory, fs::perms(0500));
  EXPECT_EQ(statusAfterSaving("new", typedURL, "sk-new", "m"),
            "Error: ~/.ferrin/secrets/KEY: Permission denied");
  EXPECT_EQ(tests::contentOf(keyFile) + core::loadProfiles(app.at).at(0).name, "sk-old\nold");
  fs::permissions(app.at.secretDirectory, fs::perms(0700));
  fs::remove(keyFile);
  EXPECT_EQ(statusAfterSaving("new", typedURL, "", "m"),
            "Error: ~/.ferrin/secrets/KEY: No such file or directory");
  fs::remove(app.at.profilesFile);
  fs::create_directory(app.at.profilesFile);
  EXPECT_EQ(statusAfterSaving("new", typedURL, "sk-new", "m"),
            "Error: ~/.ferrin/secrets/provider-profiles.json: Is a directory");
  EXPECT_EQ(tests::contentOf(keyFile), "sk-new\n");
}

TEST(ResolvedKey, isTheTypedOneThenTheProfilesThenTheRelays) {
  TestApplication app;
  const core::ProviderProfile profile{core::UUID::random(), "n", "u", "m", "k.token"};
  tests::put(app.at.upstreamKeyFile, " current \n");
  for (const auto& [stored, key] : {std::pair(" \n", "current"), {" stored \n", "stored"}}) {
    tests::put(app.at.secretDirectory / "k.token", stored);
    EXPECT_EQ(app.view->resolvedKey(profile), key);
    EXPECT_EQ(app.view->resolvedKey({}), "current");
  }
  app.view->apiKey = " typed\n";
  EXPECT_EQ(app.view->resolvedKey(profile), "typed");
}

}  // namespace
}  // namespace ferrin::app
