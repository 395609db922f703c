#pragma once
// Window and menu on a private home, with everything around them played by the test.

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {

/// What the world outside was asked for, a line each.
struct Trace {
  void add(const std::string& step) { steps += step + "\n"; }
  /// Those since the last time.
  std::string take() { return std::exchange(steps, ""); }

  std::string steps;
};

/// A service manager that does what it is told to.
struct PlayedManager : relay::ServiceManager {
  explicit PlayedManager(Trace& steps) : trace(steps) {}

  void define(const relay::ServiceDefinition& definition) override { note("define ", definition.label); }
  relay::CommandResult bootout(std::string_view label) override {
    return note("bootout ", label, {3, "no such service"});
  }
  relay::CommandResult bootstrap(std::string_view label) override {
    return note("bootstrap ", label, bootstrapResult);
  }
  relay::CommandResult kickstart(std::string_view label) override { return note("kickstart ", label); }
  bool isRunning(std::string_view) override { return false; }

  relay::CommandResult note(std::string what, std::string_view label, relay::CommandResult result = {}) {
    trace.add(what.append(label));
    return result;
  }

  Trace& trace;
  relay::CommandResult bootstrapResult;
};

struct PlayedShell : ApplicationShell {
  explicit PlayedShell(Trace& steps) : trace(steps) {}

  void activate() override { trace.add("activate"); }
  void openWindow(std::string_view identifier) override { trace.add("open " + std::string(identifier)); }
  void hide() override { trace.add("hide"); }
  void showAlert(const std::string& description) override { trace.add("alert " + description); }
  void terminate() override { trace.add("terminate"); }

  Trace& trace;
};

/// Keeps the last request until the test answers it.
struct PlayedHttpClient : providertest::HttpClient {
  void send(providertest::HttpRequest sent, Completion completion) override {
    request = std::move(sent);
    complete = std::move(completion);
  }

  std::optional<providertest::HttpRequest> request;
  Completion complete;
};

/// Runs its two queues when the test says so, in order, on the test's own thread.
struct PlayedDispatcher : Dispatcher {
  void inBackground(Work work) override { background.push_back(std::move(work)); }
  void onMain(Work work) override { main.push_back(std::move(work)); }
  void runBackground() { runAll(background); }
  void runMain() { runAll(main); }
  bool idle() const { return background.empty() && main.empty(); }

  static void runAll(std::deque<Work>& queue) {
    for (; !queue.empty(); queue.pop_front()) Work(std::move(queue.front()))();
  }

  std::deque<Work> background;
  std::deque<Work> main;
};

/// Runs as a user whom permissions bind.
struct TestApplication {
  tests::AsOrdinaryUser ordinary;
  tests::TemporaryFolder resources;
  tests::TemporaryFolder home;
  core::Locations at{home.path()};
  Trace trace;
  PlayedManager services{trace};
  PlayedShell shell{trace};
  PlayedHttpClient http;
  PlayedDispatcher dispatcher;
  relay::LauncherState state{at, services};
  Collaborators collaborators{.locations = at,
                              .services = services,
                              .proxyResource = resources / "proxy.py",
                              .launcherState = state,
                              .dispatcher = dispatcher,
                              .httpClient = http,
                              .application = shell,
                              .restartChatGPTApplication = [this] { trace.add("restart ChatGPT"); }};
  std::unique_ptr<ContentView> view = std::make_unique<ContentView>(collaborators);
  MenuBarControls menu{collaborators};

  TestApplication() { tests::put(resources / "proxy.py", "#!/bin/sh\n"); }

  void fill(const std::string& name, const std::string& url, const std::string& key,
            const std::string& model) {
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
  tests::FileTree files() const { return tests::filesBelow(home.path()); }
  /// With "~" for the home.
  std::string status() const { return tests::replaced(view->status, home.path().string(), "~"); }
};

inline const std::string typedURL = "https://provider.example/v1";
inline const std::string stopSteps =
    "bootout com.ferrin.third-party-proxy\nbootout com.local.ferrin-third-party-proxy\n";

}  // namespace ferrin::app
