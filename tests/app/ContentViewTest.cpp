#include "app/ContentView.h"

#include <gtest/gtest.h>

#include "app/ContentRules.h"
#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

TEST(ContentView, showsItsInitialValuesWhenNothingIsSaved) {
  TestApplication app;
  app.view->appear();
  EXPECT_EQ(app.view->upstreamURL.get(), "");
  EXPECT_EQ(app.view->apiKey.get(), "");
  EXPECT_EQ(app.view->model.get(), "gpt-5.6-terra");
  EXPECT_TRUE(app.view->restartChatGPT);
  EXPECT_EQ(app.view->status.get(), "Relay is stopped");
  EXPECT_FALSE(app.view->isWorking);
  EXPECT_EQ(app.view->prompt.get(), "");
  EXPECT_EQ(app.view->response.get(), "");
  EXPECT_FALSE(app.view->isSending);
  EXPECT_TRUE(app.view->profiles.get().empty());
  EXPECT_EQ(app.view->selectedProfileID.get(), "");
  EXPECT_EQ(app.view->profileName.get(), "默认");
  EXPECT_TRUE(app.files().empty());
}

TEST(ContentView, asksForTheStateAndTheSavedConfigurationEachTimeItAppears) {
  TestApplication app;
  tests::put(app.at.runningMarker, "running\n");
  tests::put(app.at.upstreamURLFile, " " + typedURL + "/ \n");
  core::saveProfiles({{core::UUID::random(), "b", "u", "m", "k"}, {core::UUID::random(), "a", "u", "m", "k"}},
                     app.at);
  app.view->appear();
  EXPECT_TRUE(app.view->launcherState.isRunning());
  EXPECT_EQ(app.view->upstreamURL.get(), typedURL);
  EXPECT_EQ(app.view->profiles.get().at(0).name, "a");
  EXPECT_EQ(app.view->profileName.get(), "默认");
  tests::put(app.at.runningMarker, "stopped\n");
  tests::put(app.at.upstreamURLFile, "https://other.example");
  app.view->appear();
  EXPECT_FALSE(app.view->launcherState.isRunning());
  EXPECT_EQ(app.view->upstreamURL.get(), "https://other.example");
  std::filesystem::remove(app.at.upstreamURLFile);
  tests::put(app.at.legacyUpstreamURLFile, "https://legacy.example\n");
  app.view->appear();
  EXPECT_EQ(app.view->upstreamURL.get(), "https://legacy.example");
}

TEST(ContentView, tellsItsObserversOfEachChange) {
  TestApplication app;
  int told = 0;
  const auto subscription = app.view->subscribe([&told] { ++told; });
  app.view->prompt = "p";
  app.view->prompt = "p";
  EXPECT_EQ(told, 1);
  app.state.setRunning(true);
  app.state.setRunning(true);
  EXPECT_EQ(told, 2);
}

TEST(ContentView, loadsAProfileOncePerChangeOfTheSelection) {
  TestApplication app;
  const core::ProviderProfile work{core::UUID::random(), "Work 工作", "https://w.example/", "wm", "k"};
  core::saveProfiles({work}, app.at);
  app.view->appear();
  app.view->apiKey = "typed";
  int loaded = 0;
  const auto subscription =
      app.view->subscribe([&] { loaded += app.view->status.get().starts_with("Loaded") ? 1 : 0; });
  app.view->selectedProfileID = work.id().text();
  EXPECT_EQ(loaded, 1);
  EXPECT_EQ(app.view->profileName.get(), "Work 工作");
  EXPECT_EQ(app.view->upstreamURL.get(), "https://w.example/");
  EXPECT_EQ(app.view->model.get(), "wm");
  EXPECT_EQ(app.view->apiKey.get(), "");
  EXPECT_EQ(app.view->status.get(), "Loaded Work 工作. The key is stored securely.");
  app.view->status = "other";
  app.view->apiKey = "again";
  for (const std::string& id : {work.id().text(), std::string(), std::string("no such profile")}) {
    app.view->selectedProfileID = id;
    EXPECT_EQ(app.view->status.get(), "other") << id;
    EXPECT_EQ(app.view->apiKey.get(), "again") << id;
  }
}

TEST(SendToProvider, needsAnAddressAndAKey) {
  struct Row {
    const char* name;
    std::string url, key;
  };
  for (const Row& row : {Row{"no key", typedURL, " "}, Row{"no address", "http://h/%zz", "k"}}) {
    TestApplication app;
    app.fill("n", row.url, row.key, "m");
    app.view->sendToProvider();
    EXPECT_EQ(app.view->response.get(), "请先填写有效的第三方 URL 和 API Key。") << row.name;
    EXPECT_FALSE(app.view->isSending) << row.name;
    EXPECT_FALSE(app.http.request) << row.name;
  }
  TestApplication app;
  app.fill("n", "", "k", "m");
  app.view->sendToProvider();
  EXPECT_EQ(app.http.request.value().url, "/responses");  // for the client to refuse
}

TEST(SendToProvider, showsTheAnswerOnceItIsBackOnTheMainThread) {
  TestApplication app;
  app.fill("n", " " + typedURL + "/ ", " sk-1 ", " m ");
  app.view->prompt = " first\nsecond ";
  app.view->response = "old";
  app.view->sendToProvider();
  EXPECT_TRUE(app.view->isSending);
  EXPECT_EQ(app.view->response.get(), "");
  EXPECT_EQ(app.http.request->url, typedURL + "/responses");
  EXPECT_EQ(app.http.request->headers.at(0), (providertest::HttpHeader{"Authorization", "Bearer sk-1"}));
  EXPECT_EQ(app.http.request->body, R"({"input":" first\nsecond ","model":" m ","stream":false})");
  EXPECT_EQ(app.http.request->headers.at(1), (providertest::HttpHeader{"Content-Type", "application/json"}));
  EXPECT_EQ(app.http.request->timeout, std::chrono::seconds(60));
  app.http.complete({.error = std::nullopt, .status = 200, .body = R"({"output_text":"Hello"})"});
  EXPECT_TRUE(app.view->isSending);
  std::string order;
  const auto subscription = app.view->subscribe([&] { order += app.view->isSending ? "text " : "done"; });
  app.dispatcher.runMain();
  EXPECT_EQ(app.view->response.get(), "Hello");
  EXPECT_FALSE(app.view->isSending);
  EXPECT_EQ(order, "text done");
  EXPECT_EQ(app.view->status.get(), "Relay is stopped");
  EXPECT_TRUE(app.files().empty());
}

TEST(SendToProvider, leavesAllAsItIsForWhatIsNoText) {
  TestApplication app;
  app.fill("n", typedURL, "k", "m\xFF");
  app.view->response = "old";
  app.view->sendToProvider();
  EXPECT_EQ(app.view->response.get(), "old");
  EXPECT_FALSE(app.view->isSending);
  EXPECT_FALSE(app.http.request);
}

TEST(ContentView, leavesNothingBehindThatTouchesItWhenItGoes) {
  TestApplication app;
  app.fill("n", typedURL, "k", "m");
  app.view->sendToProvider();
  app.view->apply();
  app.view->restoreOfficial();
  app.view.reset();
  app.dispatcher.runBackground();
  app.http.complete({.error = "late", .status = std::nullopt, .body = ""});
  app.dispatcher.runMain();
  app.state.setRunning(true);
  EXPECT_TRUE(app.dispatcher.idle());
  EXPECT_EQ(app.trace.back(), "kickstart " + serviceLabel);
}

}  // namespace
}  // namespace ferrin::app
