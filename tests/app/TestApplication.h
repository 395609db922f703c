#pragma once
// Window and menu on a private home, with everything around them played by the test.

#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {

/// Plays the service manager, the desktop and the network, and runs what is submitted when the test says so.
/// Runs as a user whom permissions bind.
struct TestApplication : relay::ServiceManager, ApplicationShell, providertest::HttpClient, Dispatcher {
  void define(const relay::ServiceDefinition&) override { note("define"); }
  relay::CommandResult bootout(std::string_view) override { return note("bootout"); }
  relay::CommandResult bootstrap(std::string_view) override { return note("bootstrap", bootstrapResult); }
  relay::CommandResult kickstart(std::string_view) override { return note("kickstart"); }
  bool isRunning(std::string_view) override { return false; }

  void activate() override { note("activate"); }
  void openWindow(std::string_view identifier) override { note("open " + std::string(identifier)); }
  void hide() override { note("hide"); }
  void showAlert(const std::string& description) override { note("alert " + description); }
  void terminate() override { note("terminate"); }

  void send(providertest::HttpRequest, Completion completion) override { complete = std::move(completion); }

  void inBackground(Work work) override { background.push_back(std::move(work)); }
  void onMain(Work work) override { main.push_back(std::move(work)); }
  static void run(std::deque<Work>& queue) {
    for (; !queue.empty(); queue.pop_front()) queue.front()();
  }
  void finishWork() {
    run(background);
    run(main);
  }

  relay::CommandResult note(const std::string& step, relay::CommandResult result = {}) {
    steps += step + "|";
    return result;
  }
  /// What the world outside was asked for since the last time.
  std::string asked() { return std::exchange(steps, ""); }

  void fill(std::string name, std::string url, std::string key, std::string model) {
    view->profileName = name;
    view->upstreamURL = url;
    view->apiKey = key;
    view->model = model;
  }
  /// What `fill` has filled.
  std::string form() const {
    return view->profileName.get() + "|" + view->upstreamURL.get() + "|" + view->apiKey.get() + "|" +
           view->model.get();
  }
  /// With "~" for the home.
  std::string status() const { return tests::replaced(view->status, home.path().string(), "~"); }
  /// The status, what was asked for, and what goes on.
  std::string outcome() {
    return status() + "; " + asked() + (view->isWorking ? "working|" : "") +
           (state.isRunning() ? "running|" : "");
  }

  std::string steps;
  relay::CommandResult bootstrapResult;
  Completion complete;
  std::deque<Work> background, main;
  tests::AsOrdinaryUser ordinary;
  tests::TemporaryFolder home;
  core::Locations at{home.path()};
  relay::LauncherState state{at, *this};
  Collaborators collaborators{.locations = at,
                              .services = *this,
                              .proxyResource = "/bin/true",
                              .launcherState = state,
                              .dispatcher = *this,
                              .httpClient = *this,
                              .application = *this,
                              .restartChatGPTApplication = [this] { note("restart ChatGPT"); }};
  std::unique_ptr<ContentView> view = std::make_unique<ContentView>(collaborators);
  MenuBarControls menu{collaborators};
};

inline const std::string typedURL = "https://provider.example/v1";

}  // namespace ferrin::app
