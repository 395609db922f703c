// The relay as a service on macOS, as far as a stand-in for launchctl shows it.

#include "relay/managers/LaunchdManager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <stdexcept>

#include "relay/managers/PresentManagers.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;
using tests::put;

/// A user's home with launchd, and a launchd of another home as the manager that an earlier version
/// preferred. Either's launchctl records its calls and succeeds without a word, unless a file beside it,
/// named as itself and its subcommand, holds a piece of sh that tells otherwise.
struct LaunchdManagerTest : testing::Test {
  tests::TemporaryFolder folder;
  const std::string definition = folder / "home/Library/LaunchAgents/com.example.plist";
  PresentManagers services{both(), ""};

  std::vector<std::unique_ptr<ServiceManager>> both() const {
    std::vector<std::unique_ptr<ServiceManager>> managers;
    for (const auto& [home, program] : {std::pair("home", "launchctl"), {"elsewhere", "earlier"}}) {
      tests::putProgram(folder / program,
                        "#!/bin/sh\ncd \"${0%/*}\" && (IFS='|'; echo \"${0##*/}|$*\" >>calls)\n"
                        "[ ! -f \"$0.$1\" ] || . \"$0.$1\"\n");
      managers.push_back(std::make_unique<LaunchdManager>(folder / home, folder / program));
    }
    return managers;
  }
};

TEST_F(LaunchdManagerTest, asksLaunchctlByTargetAndHandsItsAnswerOnAndEndsTheRelayUnderBoth) {
  put(folder / "launchctl.bootstrap", "echo 'Bootstrap failed: 5'; exit 5");
  put(folder / "earlier.bootout", "exit 3");
  EXPECT_EQ(services.bootout("com.example").status, 0);
  const CommandResult refused = services.bootstrap("com.example");
  EXPECT_TRUE(refused.status == 5 && refused.output == "Bootstrap failed: 5\n") << refused.output;
  EXPECT_EQ(services.kickstart("com.example").status, 0);
  const std::string user = "gui/" + std::to_string(getuid()), service = user + "/com.example\n";
  EXPECT_EQ(tests::contentOf(folder / "calls"), "launchctl|bootout|" + service + "earlier|bootout|" +
                                                    service + "launchctl|bootstrap|" + user + "|" +
                                                    definition + "\nlaunchctl|kickstart|-k|" + service);
}

TEST_F(LaunchdManagerTest, takesALoadedServiceThatIsRunningUnderEitherForARunningOne) {
  EXPECT_FALSE(services.isRunning("com.example")) << "nothing is said of it";
  EXPECT_TRUE(tests::contentOf(folder / "calls").starts_with("launchctl|print|gui/"));
  for (const auto& [answer, running] : {std::pair("echo 'x = {'; echo '\tstate = running'", true),
                                        {"echo 'state = running'; exit 113", false},
                                        {"echo 'state = waiting'", false}}) {
    for (const char* file : {"launchctl.print", "earlier.print"}) {
      put(folder / file, answer);
      EXPECT_EQ(services.isRunning("com.example"), running) << answer;
      std::filesystem::remove(folder / file);
    }
  }
}

TEST(PropertyList, refusesWhatXMLCannotHold) {
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s})
    EXPECT_THROW(propertyList({"label", {bad}, "/log"}), std::invalid_argument) << bad;
}

}  // namespace
}  // namespace ferrin::relay
