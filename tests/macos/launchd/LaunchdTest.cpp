// The application's actions, from the button to the process that launchd runs, and what it tells of failures.

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cstdlib>
#include <list>

#include "app/ContentView.h"
#include "app/MenuBarControls.h"
#include "relay/Resources.h"
#include "relay/managers/LaunchdManager.h"
#include "relay/system/ExecutablePath.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::app {
namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

const std::string label(core::serviceLabel), target = "gui/" + std::to_string(getuid()) + "/" + label;
const std::string running = "Running: relay is ready; Ferrin configuration was left unchanged";
const std::string refused =
    "Bootstrap failed: 5: Input/output error\nTry re-running the command as root for richer errors.\n";

struct Desktop : ApplicationShell, providertest::HttpClient, Dispatcher {
  void activate() override {}
  void openWindow(std::string_view) override {}
  void hide() override {}
  void showAlert(const std::string&) override {}
  void terminate() override {}
  void send(providertest::HttpRequest, Completion) override {}
  void inBackground(Work work) override { work(); }
  void onMain(Work work) override { work(); }
};

struct Launchd : testing::Test, Desktop {
  Launchd() {
    tests::putProgram(launchctl, "#!" PYTHON " -IS\n" + tests::contentOf(LAUNCHCTL));
    setenv("HOME", at.home.c_str(), 1);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // looking for leaks would have the relay end late
    setenv("FERRIN_LAUNCHD_SPEED", "5", 1);
    logIn();
    view.upstreamURL = provider.baseURL();
    view.apiKey = "sk-1";
    view.model = "m";
  }
  ~Launchd() override { logOut(); }

  void logIn() {
    daemon = fork();
    if (daemon == 0) execl(launchctl.c_str(), "launchctl", "serve", at.home.c_str(), nullptr);
    EXPECT_TRUE(tests::eventually([this] { return exists(folder / "launchd"); }));
  }
  void logOut() const {
    kill(daemon, SIGTERM);
    waitpid(daemon, nullptr, 0);
  }
  std::string apply() {
    view.apiKey = "sk-1";
    view.apply();
    return view.status;
  }
  /// What print says of the service, without indentation; its exit status if that isn't 0.
  std::string described() {
    const auto answer = relay::run(launchctl, {"print", target});
    return answer.status == 0 ? tests::replaced(answer.output, "\t", "") : std::to_string(answer.status);
  }
  bool comes(const std::string& part) {
    return tests::eventually([&] { return described().find(part) != std::string::npos; });
  }
  pid_t process() {
    const std::string text = described();
    const auto found = text.find("pid = ");
    return found == std::string::npos ? 0 : std::stoi(text.substr(found + 6));
  }
  bool answers() {
    return tests::eventually([] {
      return relay::run("/usr/bin/curl",
                        {"-sf", "--json", R"({"model":"m","input":"word"})", "127.0.0.1:8787/v1/responses"})
                 .status == 0;
    });
  }

  tests::TemporaryFolder folder;
  const std::string launchctl = folder / "launchctl";
  const core::Locations at{folder / "it's <&> \"me\" 密"};
  const tests::RunningProvider provider{"sk-1"};
  relay::LaunchdManager services{at.home, launchctl};
  relay::LauncherState state{at, services};
  const Collaborators collaborators{.locations = at,
                                    .services = services,
                                    .proxyResource = relay::proxyResource(relay::executablePath()),
                                    .launcherState = state,
                                    .dispatcher = *this,
                                    .httpClient = *this,
                                    .application = *this,
                                    .restartChatGPTApplication = [] {}};
  ContentView view{collaborators};
  MenuBarControls menu{collaborators};
  pid_t daemon = 0;
};

/// A request whose answer never comes, until the relay that it is sent to ends.
struct Stream {
  Stream() {
    const sockaddr_in relay{.sin_family = AF_INET,
                            .sin_port = htons(core::port),
                            .sin_addr = {htonl(INADDR_LOOPBACK)},
                            .sin_zero = {}};
    connect(socket, reinterpret_cast<const sockaddr*>(&relay), sizeof relay);
    const std::string head =
        "POST /v1/responses HTTP/1.1\r\nHost: 127.0.0.1:8787\r\nContent-Length: 9\r\n\r\n";
    send(socket, head.data(), head.size(), 0);
  }
  ~Stream() { close(socket); }
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

TEST_F(Launchd, runsTheRelayThatIsAppliedTimeAfterTimeThoughStreamsRun) {
  EXPECT_EQ(described(), "113");
  std::list<Stream> streams;
  for (pid_t now = 0, before = 0; streams.size() < 10; before = now) {
    ASSERT_EQ(apply(), running) << streams.size();
    ASSERT_TRUE(answers() && state.isRunning() && services.isRunning(label)) << tests::contentOf(at.logURL);
    EXPECT_NE(described().find("runs = 2\n"), std::string::npos) << "afresh, by kickstart";
    now = process();
    EXPECT_NE(now, before);
    streams.emplace_back();
  }
  kill(process(), SIGKILL);
  EXPECT_TRUE(comes("state = waiting\n"));
  EXPECT_FALSE(services.isRunning(label));
  EXPECT_TRUE(answers());
}

TEST_F(Launchd, stopsForGoodAndStartsAgainAtLogin) {
  const std::function<void()> stops[] = {[&] { view.stop(); }, [&] { menu.stopRelay(); },
                                         [&] {
                                           tests::put(at.configURL, "model = \"m\"\n");
                                           view.restoreOfficial();
                                         }};
  for (const auto& stop : stops) {
    EXPECT_EQ(apply(), running);
    ASSERT_TRUE(answers());
    stop();
    EXPECT_TRUE(!state.isRunning() && comes("113")) << view.status.get();
    stop();  // there is none any more
  }
  logOut();
  EXPECT_EQ(apply(), "Error: Bootstrap failed: 125: Domain does not support specified action\n");
  logIn();
  EXPECT_TRUE(answers()) << "its definition stays";
}

TEST_F(Launchd, startsAScriptThatEndsAtOnceAgainWithoutHaste) {
  tests::putProgram(at.proxyURL, "#!/bin/sh\necho \"$PATH\"; echo complaint >&2; exit 3\n");
  EXPECT_EQ(apply(), running) << "launchctl reports no failure";
  EXPECT_TRUE(comes("state = waiting\nruns = 2\nlast exit code = 3\n"));
  EXPECT_FALSE(services.isRunning(label));
  EXPECT_TRUE(comes("runs = 3\n"));
  EXPECT_TRUE(tests::contentOf(at.logURL).starts_with("/usr/bin:/bin:/usr/sbin:/sbin\ncomplaint\n"));
  EXPECT_TRUE(tests::filesBelow(at.home / "Library").begin()->second.starts_with("0600 "));
  fs::remove_all(at.logURL.parent_path());
  tests::put(at.logURL.parent_path(), "no folder can be here");
  EXPECT_TRUE(comes("last exit code = 78\n"));
}

TEST_F(Launchd, refusesARelayWhoseOldOneIsSlowToEndUntilItHasEnded) {
  tests::putProgram(at.proxyURL, "#!/bin/sh\ntrap '' TERM\necho $$\nwhile :; do sleep 1; done\n");
  EXPECT_EQ(apply(), running);
  EXPECT_TRUE(tests::eventually(
      [&] { return tests::contentOf(at.logURL).ends_with(std::to_string(process()) + "\n"); }));
  EXPECT_EQ(apply(), "Error: " + refused);
  EXPECT_TRUE(comes("state = SIGTERMed\n"));
  EXPECT_TRUE(comes("113")) << "killed";
  EXPECT_EQ(apply(), running);
}

TEST(LaunchdManager, takesNoFailureForARunningRelay) {
  const tests::TemporaryFolder folder;
  tests::putProgram(folder / "launchctl", "#!/bin/sh\necho 'state = running'; exit 1\n");
  EXPECT_FALSE(relay::LaunchdManager(folder / "home", folder / "launchctl").isRunning(label));
}

}  // namespace
}  // namespace ferrin::app
