#include <gtest/gtest.h>

#include <stdexcept>

#include "relay/SystemdManager.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;

TEST(SystemdUnit, quotesEveryWordOfTheCommandLineAndOnlyDoublesPercentInPaths) {
  const std::string unit = systemdUnit(
      {"label", {"/a b%", "\"x\"\\", "$HOME %h", "\n\t\x01", "密"}, "/home/100% \"me\"/relay.log"});
  for (const char* line : {"\nExecStart=:\"/a b%%\" \"\\\"x\\\"\\\\\" \"$HOME %%h\" \"\\n\\t\\x01\" \"密\"\n",
                           "\nStandardOutput=append:/home/100%% \"me\"/relay.log\n",
                           "\nStandardError=append:/home/100%% \"me\"/relay.log\n", "\nType=exec\n",
                           "\nRestart=always\n", "\nWantedBy=default.target\n"}) {
    EXPECT_NE(unit.find(line), std::string::npos) << line << unit;
  }
  EXPECT_LT(unit.find("\nStartLimitIntervalSec=0\n"), unit.find("[Service]"));
}

TEST(SystemdUnit, refusesWhatItCannotHold) {
  EXPECT_THROW(systemdUnit({"label", {"a\0b"s}, "/log"}), std::invalid_argument);
  EXPECT_THROW(systemdUnit({"label", {"/relay"}, "/home/a\nExecStartPre=/bin/x"}), std::invalid_argument);
  EXPECT_THROW(systemdUnit({"label", {"/home/o'hara/relay"}, "/log"}), std::invalid_argument);
}

TEST(SystemdManager, definesForTheOwnerAloneAndMakesTheLogsFolder) {
  const tests::TemporaryFolder home;
  const ServiceDefinition definition{"label", {"/relay"}, home / "logs/relay.log"};
  SystemdManager(home.path(), home / "run").define(definition);
  EXPECT_EQ(tests::contentOf(home / ".config/systemd/user/label.service"), systemdUnit(definition));
  EXPECT_EQ(tests::modeOf(home / ".config/systemd/user/label.service"), 0600U);
  EXPECT_TRUE(std::filesystem::is_directory(home / "logs"));
}

}  // namespace
}  // namespace ferrin::relay
