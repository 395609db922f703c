#include "app/ContentView.h"

#include <gtest/gtest.h>

#include "tests/app/TestApplication.h"

namespace ferrin::app {
namespace {

TEST(ContentView, asksForTheStateAndTheSavedConfigurationEachTimeItAppears) {
  TestApplication app;
  app.view->appear();
  EXPECT_EQ(app.form(), "默认|||gpt-5.6-terra");
  EXPECT_EQ(app.status(), "Relay is stopped");
  EXPECT_TRUE(app.view->restartChatGPT);
  EXPECT_TRUE(app.files().empty());
  core::saveProfiles({{core::UUID::random(), "b", "u", "m", "k"}, {core::UUID::random(), "a", "u", "m", "k"}},
                     app.at);
  for (const bool running : {true, false}) {
    tests::put(app.at.runningMarker, running ? "running\n" : "stopped\n");
    tests::put(app.at.upstreamURLFile, running ? " https://one.example/ \n" : "https://two.example");
    app.view->appear();
    EXPECT_EQ(app.view->launcherState.isRunning(), running);
    EXPECT_EQ(app.form(), running ? "默认|https://one.example||gpt-5.6-terra"
                                  : "默认|https://two.example||gpt-5.6-terra");
  }
  EXPECT_EQ(app.view->profiles.get().at(0).name, "a");
  int told = 0;
  const auto subscription = app.view->subscribe([&told] { ++told; });
  app.state.setRunning(true);
  EXPECT_EQ(told, 1);
}

TEST(ContentView, loadsAProfileOncePerChangeOfTheSelection) {
  TestApplication app;
  const core::ProviderProfile work{core::UUID::random(), "Work 工作", "https://w.example/", "wm", "k"};
  core::saveProfiles({work}, app.at);
  app.view->appear();
  app.view->apiKey = "typed";
  app.view->selectedProfileID = work.id().text();
  EXPECT_EQ(app.form(), "Work 工作|https://w.example/||wm");
  EXPECT_EQ(app.status(), "Loaded Work 工作. The key is stored securely.");
  app.view->apiKey = "again";
  for (const std::string& id : {work.id().text(), std::string(), std::string("no such profile")}) {
    app.view->selectedProfileID = id;
    EXPECT_EQ(app.form(), "Work 工作|https://w.example/|again|wm") << id;
  }
}

TEST(SendToProvider, needsAnAddressAKeyAndText) {
  struct Row {
    const char* name;
    std::string url, key, model, response;
  };
  const std::string refusal = "请先填写有效的第三方 URL 和 API Key。";
  for (const Row& row :
       {Row{"no key", typedURL, " ", "m", refusal}, Row{"no address", "http://h/%zz", "k", "m", refusal},
        Row{"no text", typedURL, "k", "m\xFF", "old"}}) {
    TestApplication app;
    app.fill("n", row.url, row.key, row.model);
    app.view->response = "old";
    app.view->sendToProvider();
    EXPECT_EQ(app.view->response.get(), row.response) << row.name;
    EXPECT_FALSE(app.view->isSending || app.http.request) << row.name;
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
  EXPECT_EQ(app.view->response.get(), "");
  EXPECT_EQ(app.http.request->url, typedURL + "/responses");
  EXPECT_EQ(app.http.request->headers,
            (std::vector<providertest::HttpHeader>{{"Authorization", "Bearer sk-1"},
                                                   {"Content-Type", "application/json"}}));
  EXPECT_EQ(app.http.request->body, R"({"input":" first\nsecond ","model":" m ","stream":false})");
  EXPECT_EQ(app.http.request->timeout, std::chrono::seconds(60));
  app.http.complete({.error = std::nullopt, .status = 200, .body = R"({"output_text":"Hello"})"});
  EXPECT_TRUE(app.view->isSending);
  std::string order;
  const auto subscription = app.view->subscribe([&] { order += app.view->isSending ? "text " : "done"; });
  app.dispatcher.runMain();
  EXPECT_EQ(app.view->response.get(), "Hello");
  EXPECT_EQ(order, "text done");
  EXPECT_EQ(app.status(), "Relay is stopped");
  EXPECT_TRUE(app.files().empty());
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
  EXPECT_TRUE(app.trace.take().ends_with("kickstart com.ferrin.third-party-proxy\n"));
}

}  // namespace
}  // namespace ferrin::app
