#pragma once
// Window and menu on a private home, with everything around them played by the test.

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "tests/support/FileTree.h"
#include "tests/support/ManualDispatcher.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {

/// What was asked of the world outside, in order.
using Trace = std::vector<std::string>;

/// A service manager that does what it is told to.
struct PlayedManager : relay::ServiceManager {
  explicit PlayedManager(Trace& steps) : trace(steps) {}

  void define(const relay::ServiceDefinition& definition) override {
    trace.push_back("define " + definition.label);
  }
  relay::CommandResult bootout(std::string_view label) override {
    return note("bootout ", label, {3, "no such service"});
  }
  relay::CommandResult bootstrap(std::string_view label) override {
    return note("bootstrap ", label, bootstrapResult);
  }
  relay::CommandResult kickstart(std::string_view label) override {
    return note("kickstart ", label, kickstartResult);
  }
  bool isRunning(std::string_view) override { return false; }

  relay::CommandResult note(const std::string& what, std::string_view label, relay::CommandResult result) {
    trace.push_back(what + std::string(label));
    return result;
  }

  Trace& trace;
  relay::CommandResult bootstrapResult{0, ""};
  relay::CommandResult kickstartResult{0, ""};
};

struct PlayedShell : ApplicationShell {
  explicit PlayedShell(Trace& steps) : trace(steps) {}

  void activate() override { trace.push_back("activate"); }
  void openWindow(std::string_view identifier) override {
    trace.push_back("open " + std::string(identifier));
  }
  void hide() override { trace.push_back("hide"); }
  void showAlert(const std::string& description) override { trace.push_back("alert " + description); }
  void terminate() override { trace.push_back("terminate"); }

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
  tests::ManualDispatcher dispatcher;
  relay::LauncherState state{at, services};
  Collaborators collaborators{.locations = at,
                              .services = services,
                              .proxyResource = resources / "proxy.py",
                              .launcherState = state,
                              .dispatcher = dispatcher,
                              .httpClient = http,
                              .application = shell,
                              .restartChatGPTApplication = [this] { trace.push_back("restart ChatGPT"); }};
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

  tests::FileTree files() const { return tests::filesBelow(home.path()); }

  /// `text` with the home's path written as "~".
  std::string withTilde(std::string text) const {
    const std::string path = home.path().string();
    for (auto place = text.find(path); place != std::string::npos; place = text.find(path)) {
      text.replace(place, path.size(), "~");
    }
    return text;
  }
  std::string status() const { return withTilde(view->status); }
};

inline const std::string typedURL = "https://provider.example/v1";
inline const std::string serviceLabel{core::serviceLabel};
inline const std::string localServiceLabel{core::localServiceLabel};

}  // namespace ferrin::app
