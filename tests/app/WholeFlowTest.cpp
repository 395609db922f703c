// The application without its window, on real files, with a real service manager, relay and providers. Runs
// in a network of its own, as the relay's port is what it is.

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <semaphore>

#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "app/ThreadDispatcher.h"
#include "providertest/AnswerText.h"
#include "providertest/CurlClient.h"
#include "providertest/DirectRequest.h"
#include "tests/app/Machine.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/Eventually.h"
#include "tests/support/FileTree.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using tests::FileTree;
using tests::put;

const std::string everything =
    "# 我的配置\n"
    "model = \"gpt\"\n"
    "model_provider = \"custom\"\n"
    "openai_base_url = \"http://127.0.0.1:8787/v1\"\n"
    "\n"
    "[model_providers.custom]\n"
    "name = \"custom\"\n"
    "base_url = \"http://127.0.0.1:8787/v1\"\n"
    "# a note\n"
    "\n"
    "[model_providers.custom.headers]\n"
    "x = 1\n"
    "[[tools]]\n"
    "openai_base_url = \"again\"\n"
    "name = \"工具\"\n";
const std::string official =
    "# 我的配置\n"
    "model = \"gpt\"\n"
    "model_provider = \"openai\"\n"
    "\n"
    "[model_providers.custom.headers]\n"
    "x = 1\n"
    "[[tools]]\n"
    "name = \"工具\"\n";

struct Shell : ApplicationShell {
  void activate() override {}
  void openWindow(std::string_view) override {}
  void hide() override { ++hidden; }
  void showAlert(const std::string& description) override { alert = description; }
  void terminate() override {}

  int hidden = 0;
  std::string alert;
};

class WholeFlow : public testing::Test {
 protected:
  /// Lets the main thread do what comes in until `condition` holds.
  bool runUntil(const std::function<bool()>& condition) {
    while (!condition()) {
      if (!woken.try_acquire_for(60s)) return false;
      dispatcher.runMainQueue();
    }
    return true;
  }

  std::string saveNewProfile(const std::string& name, const std::string& url, const std::string& key) {
    view.selectedProfileID = "";
    view.profileName = name;
    view.upstreamURL = url;
    view.apiKey = key;
    view.saveProfile();
    return view.selectedProfileID;
  }

  void apply(const std::string& profile) {
    view.selectedProfileID = profile;
    view.apply();
    EXPECT_TRUE(runUntil([this] { return !view.isWorking; }));
  }

  void restore() {
    view.restoreOfficial();
    EXPECT_TRUE(runUntil([this] { return !view.isWorking; }));
  }

  /// What the agent tool is told when it asks the relay; the key that it sends is its own.
  std::string askRelay(const std::string& prompt) {
    std::promise<providertest::HttpResult> promise;
    client.send(
        *providertest::directRequest("http://127.0.0.1:8787/v1/responses", "agent's own", "m", prompt),
        [&promise](providertest::HttpResult result) { promise.set_value(std::move(result)); });
    return providertest::answerText(promise.get_future().get());
  }

  /// The relay needs a moment between its start and its first connection.
  bool relayAnswers(const std::string& prompt) {
    return tests::eventually([&] { return askRelay(prompt) == prompt; });
  }
  bool relayIsDown() { return askRelay("p").starts_with("请求失败：Failed to connect"); }

  std::string status() const {
    std::string text = view.status;
    const std::string path = machine.home().string();
    for (auto place = text.find(path); place != std::string::npos; place = text.find(path)) {
      text.replace(place, path.size(), "~");
    }
    return text;
  }

  /// The files of the agent and of this application, but for the log, whose content is the relay's affair.
  FileTree ferrinFiles() const {
    FileTree tree = tests::filesBelow(at.ferrinHome);
    tree.erase("logs/third-party-proxy.log");
    return tree;
  }

  std::counting_semaphore<> woken{0};
  tests::Machine machine;
  const core::Locations at{machine.home()};
  relay::LauncherState state{at, machine.services()};
  ThreadDispatcher dispatcher{[this] { woken.release(); }};
  providertest::CurlClient client;
  Shell shell;
  int restarts = 0;
  const Collaborators collaborators{.locations = at,
                                    .services = machine.services(),
                                    .proxyResource = machine.relayScript(),
                                    .launcherState = state,
                                    .dispatcher = dispatcher,
                                    .httpClient = client,
                                    .application = shell,
                                    .restartChatGPTApplication = [this] { ++restarts; }};
  ContentView view{collaborators};
  MenuBarControls menu{collaborators};
  const tests::RunningProvider first{"sk-first"};
  const tests::RunningProvider second{"sk-second"};
};

TEST_F(WholeFlow, switchesBetweenTwoProvidersAndBackToTheOfficialOne) {
  put(at.configURL, everything);
  view.appear();
  EXPECT_TRUE(state.isRunning());  // the configuration names the relay, and nobody knows better yet
  const std::string one = saveNewProfile("One", first.baseURL() + "/", " sk-first ");
  const std::string two = saveNewProfile("二", second.baseURL(), "sk-second");
  EXPECT_EQ(view.status.get(), "Loaded 二. The key is stored securely.");

  apply(one);
  EXPECT_EQ(view.status.get(), "Running: relay is ready; Ferrin configuration was left unchanged");
  EXPECT_TRUE(state.isRunning());
  EXPECT_EQ(restarts, 1);
  EXPECT_EQ(shell.hidden, 1);
  EXPECT_TRUE(relayAnswers("by the first"));
  EXPECT_EQ(tests::contentOf(at.configURL), everything);

  view.stop();
  EXPECT_FALSE(state.isRunning());
  EXPECT_TRUE(relayIsDown());

  apply(two);
  EXPECT_TRUE(relayAnswers("由第二个"));
  view.prompt = "directly";
  view.sendToProvider();
  EXPECT_TRUE(runUntil([this] { return !view.isSending; }));
  EXPECT_EQ(view.response.get(), "directly");

  restore();
  EXPECT_EQ(view.status.get(), "已恢复官方 OpenAI 配置");
  EXPECT_FALSE(state.isRunning());
  EXPECT_TRUE(relayIsDown());
  EXPECT_EQ(restarts, 3);

  const auto profile = [](const std::string& id, const std::string& name, std::string url) {
    for (auto slash = url.find('/'); slash != std::string::npos; slash = url.find('/', slash + 2))
      url.insert(slash, "\\");
    return "{\"id\":\"" + id + "\",\"name\":\"" + name + "\",\"url\":\"" + url +
           "\",\"model\":\"gpt-5.6-terra\",\"keyFile\":\"provider-key-" + id + ".token\"}";
  };
  EXPECT_EQ(
      ferrinFiles(),
      (FileTree{{"config.toml", "0600 " + official + "\n"},
                {"config.toml.before-restore.bak", "0600 " + everything + "\n"},
                {"bin/ferrin-third-party-proxy.py", "0700 " + tests::contentOf(machine.relayScript())},
                {"secrets/openai-proxy-upstream.url", "0600 " + second.baseURL() + "\n"},
                {"secrets/openai-proxy-upstream.token", "0600 sk-second\n"},
                {"secrets/provider-key-" + one + ".token", "0600 sk-first\n"},
                {"secrets/provider-key-" + two + ".token", "0600 sk-second\n"},
                {"secrets/provider-launcher.running", "0600 stopped\n"},
                {"secrets/provider-profiles.json", "0600 [" + profile(one, "One", first.baseURL()) + "," +
                                                       profile(two, "二", second.baseURL()) + "]"}}));
  for (const auto& [file, content] : tests::filesBelow(machine.home())) {
    if (file.starts_with(".ferrin/secrets/")) continue;
    for (const char* key : {"sk-first", "sk-second", "agent's own"}) {
      EXPECT_EQ(content.find(key), std::string::npos) << file;
    }
  }
}

TEST_F(WholeFlow, losesNothingWhenAStepFails) {
  put(at.configURL, everything);
  view.appear();
  const std::string one = saveNewProfile("One", first.baseURL(), "sk-first");
  apply(one);
  ASSERT_TRUE(relayAnswers("before"));
  const FileTree before = ferrinFiles();
  const int restartsBefore = restarts;

  struct Row {
    const char* name;
    std::function<void()> obstacle, repair, action;
    std::string status;
  };
  const fs::path key = at.secretDirectory / ("provider-key-" + one + ".token");
  const fs::path backup = at.ferrinHome / "config.toml.before-restore.bak";
  const fs::path aside = machine.home() / "aside";
  const auto moveAside = [&](const fs::path& file) { return [&aside, file] { fs::rename(file, aside); }; };
  const auto moveBack = [&](const fs::path& file) {
    return [&aside, file] {
      fs::remove_all(file);
      fs::rename(aside, file);
    };
  };
  const auto replaceByFolder = [&](const fs::path& file) {
    return [&aside, file] {
      fs::rename(file, aside);
      put(file / "inside", "");
    };
  };
  const Row rows[] = {
      {"save without the key file", moveAside(key), moveBack(key), [&] { view.saveProfile(); },
       "Error: ~/.ferrin/secrets/KEY: No such file or directory"},
      {"save over a folder", replaceByFolder(at.profilesFile), moveBack(at.profilesFile),
       [&] { view.saveProfile(); }, "Error: ~/.ferrin/secrets/provider-profiles.json: Is a directory"},
      {"apply without the key file", moveAside(key), moveBack(key), [&] { apply(one); },
       "Error: enter the provider API key"},
      {"apply without a place for the key", replaceByFolder(at.upstreamKeyFile), moveBack(at.upstreamKeyFile),
       [&] { apply(one); }, "Error: ~/.ferrin/secrets/openai-proxy-upstream.token: Is a directory"},
      {"restore without a configuration", moveAside(at.configURL), moveBack(at.configURL), [&] { restore(); },
       "失败：未找到 ~/.ferrin/config.toml"},
      {"restore without a place for the backup", [&] { put(backup / "inside", ""); },
       [&] { fs::remove_all(backup); }, [&] { restore(); },
       "失败：~/.ferrin/config.toml.before-restore.bak: Is a directory"},
  };
  for (const Row& row : rows) {
    row.obstacle();
    row.action();
    row.repair();
    std::string seen = status();
    if (const auto place = seen.find(key.filename().string()); place != std::string::npos) {
      seen.replace(place, key.filename().string().size(), "KEY");
    }
    EXPECT_EQ(seen, row.status) << row.name;
    EXPECT_TRUE(state.isRunning()) << row.name;
    EXPECT_EQ(ferrinFiles(), before) << row.name;
    EXPECT_EQ(askRelay(row.name), row.name);
  }
  EXPECT_EQ(restarts, restartsBefore);

  fs::remove(at.configURL);
  menu.restoreOpenAI();
  EXPECT_EQ(shell.alert, "未找到 ~/.ferrin/config.toml");
  EXPECT_EQ(askRelay("still there"), "still there");
}

TEST_F(WholeFlow, saysWhyTheManagerRefusesAndWorksOnceItDoesNot) {
  put(at.proxyURL, "#!/bin/sh\n");
  fs::permissions(at.proxyURL, static_cast<fs::perms>(0600));
  const std::string one = saveNewProfile("One", first.baseURL(), "sk-first");
  apply(one);
  EXPECT_EQ(status(), "Error: ~/.ferrin/bin/ferrin-third-party-proxy.py: Permission denied");
  EXPECT_FALSE(state.isRunning());
  EXPECT_FALSE(fs::exists(at.runningMarker));
  EXPECT_EQ(tests::contentOf(at.upstreamKeyFile), "sk-first\n");
  fs::remove(at.proxyURL);
  apply(one);
  EXPECT_TRUE(state.isRunning());
  EXPECT_TRUE(relayAnswers("after all"));
  menu.stopRelay();
  EXPECT_TRUE(relayIsDown());
}

}  // namespace
}  // namespace ferrin::app
