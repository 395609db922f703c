// The relay as a service on macOS, as far as a stand-in for launchctl shows it.

#include "relay/LaunchdManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>

#include "relay/PresentManagers.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;
using tests::put;

/// A user's home, and a launchctl that succeeds without a word unless a file beside it, named as its
/// subcommand, holds a piece of sh that tells otherwise.
struct LaunchdManagerTest : testing::Test {
  tests::TemporaryFolder folder;
  const std::string definition = folder / "home/Library/LaunchAgents/com.example.plist";
  LaunchdManager services{folder / "home", folder / "launchctl"};

  LaunchdManagerTest() {
    tests::putProgram(folder / "launchctl",
                      "#!/bin/sh\ncd \"${0%/*}\" && (IFS='|'; echo \"$*\" >>calls)\n"
                      "[ ! -f \"$1\" ] || . \"./$1\"\n");
  }
};

TEST_F(LaunchdManagerTest, asksLaunchctlByTargetAndHandsItsAnswerOn) {
  put(folder / "bootstrap", "echo 'Bootstrap failed: 5'; exit 5");
  EXPECT_EQ(services.bootout("com.example").status, 0);
  const CommandResult refused = services.bootstrap("com.example");
  EXPECT_TRUE(refused.status == 5 && refused.output == "Bootstrap failed: 5\n") << refused.output;
  EXPECT_EQ(services.kickstart("com.example").status, 0);
  EXPECT_FALSE(services.isRunning("com.example")) << "it says nothing of it";
  const std::string user = "gui/" + std::to_string(getuid()), service = user + "/com.example\n";
  EXPECT_EQ(tests::contentOf(folder / "calls"), "bootout|" + service + "bootstrap|" + user + "|" +
                                                    definition + "\nkickstart|-k|" + service + "print|" +
                                                    service);
}

TEST_F(LaunchdManagerTest, takesALoadedServiceThatIsRunningForARunningOne) {
  for (const auto& [answer, running] : {std::pair("echo 'x = {'; echo '\tstate = running'", true),
                                        {"echo 'state = running'; exit 113", false},
                                        {"echo 'state = waiting'", false}}) {
    put(folder / "print", answer);
    EXPECT_EQ(services.isRunning("com.example"), running) << answer;
  }
}

/// Of two managers, this is the preferred one.
TEST_F(LaunchdManagerTest, canStartTheRelayWhileAnotherManagerEndsAndSeesAnEarlierOne) {
  const auto earlier = folder / "earlier/launchctl";
  tests::putProgram(earlier, "#!/bin/sh\necho \"earlier $1\" >>\"${0%/*/*}/calls\"; echo state = running\n");
  std::vector<std::unique_ptr<ServiceManager>> both;
  both.push_back(std::make_unique<LaunchdManager>(folder / "home", folder / "launchctl"));
  both.push_back(std::make_unique<LaunchdManager>(folder / "earlier", earlier));
  PresentManagers managers(std::move(both), "");
  managers.define({"com.example", {}, "/log"});
  EXPECT_TRUE(std::filesystem::exists(definition) && !exists(folder / "earlier/Library"));
  EXPECT_EQ(managers.bootout("com.example").output, "");
  EXPECT_EQ(managers.bootstrap("com.example").status + managers.kickstart("com.example").status, 0);
  EXPECT_TRUE(managers.isRunning("com.example"));
  const std::string calls = tests::contentOf(folder / "calls");
  EXPECT_TRUE(calls.find("\nearlier bootout\nbootstrap|") != std::string::npos &&
              calls.ends_with("/com.example\nearlier print\n"))
      << calls;
}

TEST_F(LaunchdManagerTest, describesTheServiceToAnIndependentReader) {
  services.define({"com.example", {"/密 <&> \"me\"", "", "c=']]>"}, "/it's <&>.log"});
  EXPECT_TRUE(tests::filesBelow(folder / "home").begin()->second.starts_with("0600 "));
  const char* reader =
      "import plistlib, sys; print(plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_XML))";
  EXPECT_EQ(
      run("/usr/bin/env", {"PYTHONUTF8=1", "python3", "-c", reader, definition}).output,
      "{'Label': 'com.example', 'ProgramArguments': ['/密 <&> \"me\"', '', \"c=']]>\"], 'RunAtLoad': True, "
      "'KeepAlive': True, 'StandardOutPath': \"/it's <&>.log\", 'StandardErrorPath': \"/it's <&>.log\"}\n");
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s}) {
    EXPECT_THROW(services.define({"label", {bad}, "/log"}), std::invalid_argument);
  }
}

}  // namespace
}  // namespace ferrin::relay
