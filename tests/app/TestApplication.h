#pragma once
// Window and menu on a private home, with everything around them played by the test.

#include <boost/algorithm/string/join.hpp>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "agentconfig/ChatGPTApplication.h"
#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {

inline const std::string typedURL = "https://provider.example/v1";

/// Plays the service manager, the desktop and the network, and runs what is submitted when the test says so.
/// Records, in order, each call with its arguments and each change of a file or of the view.
/// Runs as a user whom permissions bind.
struct TestApplication : relay::ServiceManager, ApplicationShell, providertest::HttpClient, Dispatcher {
  TestApplication() {
    std::filesystem::create_directory(at.home);
    tests::put(collaborators.proxyResource, "script");
    tests::put(folder / "application/libexec/ferrin-relay/ferrin-third-party-proxy", "");
    changes = view->subscribe([this] { noteChanges(); });
    recording = true;
    noteChanges();
    called.clear();
  }

  void define(const relay::ServiceDefinition& definition) override {
    std::string with, without;
    for (const auto& [name, value] : definition.environment)
      value ? with += " " + name + "=" + * value : without += " " + name;
    call("define " + definition.label + " " + boost::algorithm::join(definition.commandLine, "|") + " log " +
         definition.logFile.string() + " with" + with + " without" + without);
  }
  relay::CommandResult bootout(std::string_view label) override { return call("bootout", label); }
  relay::CommandResult bootstrap(std::string_view label) override { return call("bootstrap", label); }
  relay::CommandResult kickstart(std::string_view label) override { return call("kickstart", label); }
  void leaveToAnother(std::string_view label) override { call("leaveToAnother", label); }
  bool isRunning(std::string_view label) override {
    call("isRunning", label);
    return running == label;
  }

  void activate() override { call("activate"); }
  void openWindow(std::string_view identifier) override { call("openWindow", identifier); }
  void hide() override { call("hide"); }
  void showAlert(const std::string& description) override { call("showAlert", description); }
  void terminate() override { call("terminate"); }

  void send(providertest::HttpRequest request, Completion completion) override {
    std::string sent = request.url + " within " + std::to_string(request.timeout.count()) + " ms";
    for (const auto& header : request.headers) sent += "; " + header.name + ": " + header.value;
    call("POST", sent + "; " + request.body);
    complete = std::move(completion);
  }

  void inBackground(Work work) override { background.push_back(std::move(work)); }
  void onMain(Work work) override { main.push_back(std::move(work)); }
  static void run(std::deque<Work>& queue) {
    for (; !queue.empty(); queue.pop_front()) queue.front()();
  }
  void finishWork() {
    run(background);
    run(main);
  }

  /// Records the call after what has changed since the one before; the result is the one set for its name.
  relay::CommandResult call(const std::string& name, std::string_view argument = "") {
    if (!recording) return {};
    noteChanges();
    called += name + (argument.empty() ? "" : " ") + std::string(argument) + "\n";
    return results[name];
  }

  void noteChanges() {
    auto before = std::exchange(seen, look());
    for (const auto& [thing, value] : before) seen.try_emplace(thing, "gone");
    for (const auto& [thing, value] : seen)
      if (before[thing] != value) called += thing + " = " + tests::replaced(value, "\n", "\\n") + "\n";
  }

  /// All that an action can change: files below the home, and the view's state.
  std::map<std::string, std::string> look() const {
    auto now = tests::filesBelow(at.home);
    const auto text = [](bool flag) { return flag ? "true" : "false"; };
    now["isRunning"] = text(state.isRunning());
    if (!view) return now;
    std::string profiles;
    for (const auto& p : view->profiles.get())
      profiles += "(" + p.id().text() + "|" + p.name + "|" + p.url + "|" + p.model + "|" + p.keyFile + ")";
    now.insert({{"profileName", view->profileName},
                {"upstreamURL", view->upstreamURL},
                {"apiKey", view->apiKey},
                {"model", view->model},
                {"restartChatGPT", text(view->restartChatGPT)},
                {"status", view->status},
                {"isWorking", text(view->isWorking)},
                {"prompt", view->prompt},
                {"response", view->response},
                {"isSending", text(view->isSending)},
                {"profiles", profiles},
                {"selectedProfileID", view->selectedProfileID}});
    return now;
  }

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

  /// As the collaborators have it on macOS.
  void restartChatGPT() {
    const auto commands = agentconfig::chatGPTCommandsOnMacOS();
    agentconfig::restart(
        &commands,
        [this](const auto& program, const auto& arguments) {
          call("run " + program, boost::algorithm::join(arguments, "|"));
        },
        [this](auto pause) { call("pause", std::to_string(pause.count()) + " ms"); });
  }

  bool recording = false;
  std::string called, running;
  std::map<std::string, std::string> seen;
  std::map<std::string, relay::CommandResult> results;
  Completion complete;
  std::deque<Work> background, main;
  tests::AsOrdinaryUser ordinary;
  tests::TemporaryFolder folder;
  core::Locations at{folder / "home"};
  relay::LauncherState state{at, *this};
  Collaborators collaborators{.locations = at,
                              .services = *this,
                              .proxyResource = folder / "application/share/ferrin-relay/proxy.py",
                              .launcherState = state,
                              .dispatcher = *this,
                              .httpClient = *this,
                              .application = *this,
                              .restartChatGPTApplication = [this] { restartChatGPT(); }};
  std::unique_ptr<ContentView> view = std::make_unique<ContentView>(collaborators);
  MenuBarControls menu{collaborators};
  core::Subscription changes;
};

}  // namespace ferrin::app
