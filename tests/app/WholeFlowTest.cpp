// The application without its window, on real files, with a real service manager, relay and providers. Runs
// in a network of its own, as the relay's port is what it is.

#include <gtest/gtest.h>

#include <future>
#include <semaphore>

#include "app/ThreadDispatcher.h"
#include "providertest/AnswerText.h"
#include "providertest/CurlClient.h"
#include "providertest/DirectRequest.h"
#include "tests/app/TestApplication.h"
#include "tests/relay/Machine.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/Eventually.h"

namespace ferrin::app {
namespace {

using tests::FileTree;
using tests::put;

const std::string configured =
    "# 我的配置\nmodel_provider = \"custom\"\nopenai_base_url = "
    "\"http://127.0.0.1:8787/v1\"\n\n"
    "[model_providers.custom]\n# a note\n\n[[tools]]\nopenai_base_url = "
    "\"again\"\nname = \"工具\"\n";
const std::string official = "# 我的配置\nmodel_provider = \"openai\"\n\n[[tools]]\nname = \"工具\"\n";

class WholeFlow : public testing::Test {
 protected:
  /// Lets the main thread do what comes in until nothing is under way.
  void finish() {
    while (view.isWorking || view.isSending) {
      ASSERT_TRUE(woken.try_acquire_for(std::chrono::seconds(60)));
      dispatcher.runMainQueue();
    }
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
    finish();
  }

  /// What the agent tool is told when it asks the relay; the key that it sends is its own.
  std::string askRelay(const std::string& prompt) {
    std::promise<std::string> answer;
    client.send(
        *providertest::directRequest("http://127.0.0.1:8787/v1/responses", "agent's own", "m", prompt),
        [&answer](const providertest::HttpResult& result) {
          answer.set_value(providertest::answerText(result));
        });
    return answer.get_future().get();
  }

  /// The relay needs a moment between its start and its first connection.
  bool relayAnswers(const std::string& prompt) {
    return tests::eventually([&] { return askRelay(prompt) == prompt; });
  }
  bool relayIsDown() { return askRelay("p").starts_with("请求失败：Failed to connect"); }

  /// The files of the agent and of this application, but for what the relay and the profile store write.
  FileTree ferrinFiles() const {
    FileTree tree = tests::filesBelow(at.ferrinHome);
    tree.erase("logs/third-party-proxy.log");
    tree.erase("secrets/provider-profiles.json");
    return tree;
  }

  std::counting_semaphore<> woken{0};
  const std::unique_ptr<tests::Machine> machine = tests::freshMachine();
  const core::Locations at{machine->home};
  relay::LauncherState state{at, *machine->services};
  ThreadDispatcher dispatcher{[this] { woken.release(); }};
  providertest::CurlClient client;
  Trace trace;
  PlayedShell shell{trace};
  const Collaborators collaborators{.locations = at,
                                    .services = *machine->services,
                                    .proxyResource = machine->relayScript,
                                    .launcherState = state,
                                    .dispatcher = dispatcher,
                                    .httpClient = client,
                                    .application = shell,
                                    .restartChatGPTApplication = [this] { trace.add("restart ChatGPT"); }};
  ContentView view{collaborators};
  MenuBarControls menu{collaborators};
  const tests::RunningProvider first{"sk-first"};
  const tests::RunningProvider second{"sk-second"};
};

TEST_F(WholeFlow, switchesBetweenTwoProvidersAndBackToTheOfficialOne) {
  put(at.configURL, configured);
  view.appear();
  EXPECT_TRUE(state.isRunning());  // the configuration names the relay, and nobody knows better yet
  const std::string one = saveNewProfile("One", first.baseURL() + "/", " sk-first ");
  const std::string two = saveNewProfile("二", second.baseURL(), "sk-second");

  apply(one);
  EXPECT_EQ(view.status.get(), "Running: relay is ready; Ferrin configuration was left unchanged");
  EXPECT_TRUE(relayAnswers("by the first"));
  EXPECT_EQ(tests::contentOf(at.configURL), configured);
  menu.stopRelay();
  EXPECT_TRUE(relayIsDown());

  apply(two);
  EXPECT_TRUE(relayAnswers("由第二个"));
  view.prompt = "directly";
  view.sendToProvider();
  finish();
  EXPECT_EQ(view.response.get(), "directly");

  view.restoreOfficial();
  finish();
  EXPECT_EQ(view.status.get(), "已恢复官方 OpenAI 配置");
  EXPECT_TRUE(relayIsDown());
  EXPECT_EQ(trace.take(), "restart ChatGPT\nhide\nrestart ChatGPT\nhide\nrestart ChatGPT\n");

  EXPECT_EQ(ferrinFiles(),
            (FileTree{{"config.toml", "0600 " + official + "\n"},
                      {"config.toml.before-restore.bak", "0600 " + configured + "\n"},
                      {"bin/ferrin-third-party-proxy.py", "0700 " + tests::contentOf(machine->relayScript)},
                      {"secrets/openai-proxy-upstream.url", "0600 " + second.baseURL() + "\n"},
                      {"secrets/openai-proxy-upstream.token", "0600 sk-second\n"},
                      {"secrets/provider-key-" + one + ".token", "0600 sk-first\n"},
                      {"secrets/provider-key-" + two + ".token", "0600 sk-second\n"},
                      {"secrets/provider-launcher.running", "0600 stopped\n"}}));
  for (const auto& [file, content] : tests::filesBelow(machine->home)) {
    if (file.starts_with(".ferrin/secrets/")) continue;
    for (const char* key : {"sk-first", "sk-second", "agent's own"}) {
      EXPECT_EQ(content.find(key), std::string::npos) << file;
    }
  }
}

}  // namespace
}  // namespace ferrin::app
