#include "relay/LaunchdManager.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "relay/RelayService.h"
#include "tests/relay/StandIns.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;
using tests::TemporaryFolder;

TEST(PropertyList, holdsExactlyTheSixKeysForAnIndependentReader) {
  const TemporaryFolder folder;
  const core::Locations at("/Users/密 <&> \"me\"");
  const ServiceDefinition definition{"com.ferrin.third-party-proxy",
                                     relayCommandLine(at, "https://host.example/v1?a=b&c=']]>"), at.logURL};
  tests::put(folder / "agent.plist", propertyList(definition));
  const char* reader =
      "import json, plistlib, sys\n"
      "agent = plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_XML)\n"
      "print(json.dumps(agent, ensure_ascii=False, sort_keys=True), end='')";
  const auto file = (folder / "agent.plist").string();
  EXPECT_EQ(run("/usr/bin/env", {"PYTHONUTF8=1", "python3", "-c", reader, file}).output,
            R"({"KeepAlive": true, "Label": "com.ferrin.third-party-proxy", "ProgramArguments": [)"
            R"("/Users/密 <&> \"me\"/.ferrin/bin/ferrin-third-party-proxy.py", )"
            R"("--host", "127.0.0.1", "--port", "8787", "--upstream", "https://host.example/v1?a=b&c=']]>", )"
            R"("--api-key-file", "/Users/密 <&> \"me\"/.ferrin/secrets/openai-proxy-upstream.token", )"
            R"("--timeout", "600"], "RunAtLoad": true, )"
            R"("StandardErrorPath": "/Users/密 <&> \"me\"/.ferrin/logs/third-party-proxy.log", )"
            R"("StandardOutPath": "/Users/密 <&> \"me\"/.ferrin/logs/third-party-proxy.log"})");
}

TEST(PropertyList, refusesWhatXMLCannotHold) {
  for (const std::string& bad : {"a\0b"s, "\x1b["s, "a\rb"s, "\uFFFE"s, "\xFF"s}) {
    EXPECT_THROW(propertyList({"label", {bad}, "/log"}), std::invalid_argument);
  }
}

class LaunchdManagerTest : public testing::Test {
 protected:
  const TemporaryFolder home;
  const tests::StandInLaunchctl launchctl{home.path()};
  LaunchdManager manager{home.path(), launchctl.path()};
};

TEST_F(LaunchdManagerTest, addressesTheUsersDomainAndTheDefinitionFile) {
  manager.define({"some.label", {"/relay"}, home / "logs/relay.log"});
  const std::string file = (home / "Library/LaunchAgents/some.label.plist").string();
  EXPECT_EQ(tests::modeOf(file), 0600U);
  EXPECT_FALSE(exists(home / "logs"));
  manager.bootout("some.label");
  manager.bootstrap("some.label");
  manager.kickstart("some.label");
  manager.isRunning("some.label");
  EXPECT_EQ(launchctl.calls(),
            (std::vector<std::string>{"bootout|gui/some.label", "bootstrap|gui|" + file,
                                      "kickstart|-k|gui/some.label", "print|gui/some.label"}));
}

TEST_F(LaunchdManagerTest, takesAServiceForRunningOnlyWhenLaunchctlSaysSo) {
  const std::pair<const char*, bool> answers[] = {
      {"printf 'gui/501/x = {\\n\\tactive count = 1\\n\\tstate = running\\n}\\n'", true},
      {"echo 'state = waiting'", false},
      {"echo 'State = Running'", false},
      {"echo 'state = running'; exit 113", false},
  };
  for (const auto& [answer, isRunning] : answers) {
    launchctl.answer("print", answer);
    EXPECT_EQ(manager.isRunning("label"), isRunning) << answer;
  }
  EXPECT_FALSE(LaunchdManager(home.path(), home / "absent").isRunning("label"));
}

}  // namespace
}  // namespace ferrin::relay
