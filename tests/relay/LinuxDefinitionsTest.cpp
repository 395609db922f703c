// What is written for Linux's service managers, and which of them is chosen.

#include <gtest/gtest.h>

#include <stdexcept>

#include "relay/RunitManager.h"
#include "relay/ServiceManager_linux.h"
#include "relay/SystemdManager.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

using std::string_literals::operator""s;
using tests::TemporaryFolder;

TEST(SystemdUnit, quotesEveryWordOfTheCommandLineAndOnlyDoublesPercentInPaths) {
  const std::string unit = systemdUnit({"label",
                                        {"/a b%", "\"x\"\\", "$HOME %h", "\n\t\x01", "密"},
                                        "/home/100% \"me\"/relay.log",
                                        "/o 'p' 1%"});
  for (const char* line : {"\nExecStart=:\"/a b%%\" \"\\\"x\\\"\\\\\" \"$HOME %%h\" "
                           "\"\\n\\t\\x01\" \"密\"\n",
                           "\nStandardOutput=append:/home/100%% \"me\"/relay.log\n",
                           "\nStandardError=append:/home/100%% \"me\"/relay.log\n", "\nType=exec\n",
                           "\nEnvironment=\"FERRIN_RELAY_PROGRAM=/o 'p' 1%%\"\n",
                           "\nStartLimitIntervalSec=0\n\n[Service]\n", "\nRestart=always\n"}) {
    EXPECT_NE(unit.find(line), std::string::npos) << line << unit;
  }
  for (const ServiceDefinition& bad : {ServiceDefinition{"label", {"a\0b"s}, "/log"},
                                       {"label", {"/relay"}, "/home/a\nExecStartPre=/bin/x"},
                                       {"label", {"/home/o'hara/relay"}, "/log"}}) {
    EXPECT_THROW(systemdUnit(bad), std::invalid_argument);
  }
}

TEST(RunScript, quotesEveryWordForTheShell) {
  EXPECT_EQ(
      runScript({"label", {"/it's me/relay.py", "--host", "$HOME", ""}, "/it's me/logs/relay.log", "/o'p"}),
      "#!/bin/sh\n"
      "umask 077\n"
      "mkdir -p '/it'\\''s me/logs'\n"
      "exec >>'/it'\\''s me/logs/relay.log' 2>&1 </dev/null\n"
      "export FERRIN_RELAY_PROGRAM='/o'\\''p'\n"
      "exec '/it'\\''s me/relay.py' '--host' '$HOME' ''\n");
  EXPECT_THROW(runScript({"label", {"a\0b"s}, "/log"}), std::invalid_argument);
}

TEST(AutostartEntry, quotesPathsAsTheFormatDemands) {
  const std::string entry = autostartEntry("/usr/bin/runsv", "/home/a \"b\" $c `d` e\\f 100%/sv");
  EXPECT_TRUE(entry.ends_with(R"(Exec="/usr/bin/runsv" "/home/a \\"b\\" \\$c \\`d\\` e\\\\f 100%%/sv")"
                              "\n"))
      << entry;
}

TEST(Define, writesForTheOwnerAlone) {
  const TemporaryFolder home;
  const ServiceDefinition definition{"label", {"/relay"}, home / "logs/relay.log"};
  SystemdManager(home.path(), home / "run").define(definition);
  RunitManager(home.path()).define(definition);
  const auto folder = home / ".local/share/ferrin-relay/sv/label";
  EXPECT_EQ(tests::filesBelow(home.path()),
            (tests::FileTree{
                {".config/systemd/user/label.service", "0600 " + systemdUnit(definition)},
                {".config/autostart/label.desktop", "0600 " + autostartEntry("/usr/bin/runsv", folder)},
                {".local/share/ferrin-relay/sv/label/run", "0700 " + runScript(definition)}}));
  EXPECT_TRUE(exists(home / "logs"));
}

TEST(ChooseLinuxManager, prefersAListeningSystemdThenAnInstalledRunitAndSaysWhatIsMissing) {
  const TemporaryFolder machine;
  const auto chosen = [&] {
    return chooseLinuxManager("/home/me", machine.path(), {"/none", machine / "bin"});
  };
  tests::put(machine / "systemd/private", "");
  tests::put(machine / "bin/runsv", "");
  EXPECT_NE(dynamic_cast<const SystemdManager*>(chosen().get()), nullptr);
  std::filesystem::remove(machine / "systemd/private");
  EXPECT_NE(dynamic_cast<const RunitManager*>(chosen().get()), nullptr);
  std::filesystem::remove(machine / "bin/runsv");
  const auto none = chosen();
  EXPECT_NE(none->bootstrap("label").status, 0);
  EXPECT_EQ(none->bootstrap("label").output,
            "no service manager can run the relay: systemd's user manager does "
            "not listen at " +
                (machine / "systemd/private").string() +
                ", and runit is not installed. Install runit (on Debian: apt "
                "install runit).");
}

TEST(RunitManager, namesTheSupervisorThatIsMissing) {
  const TemporaryFolder home;
  RunitManager manager(home.path(), home / "bin");
  manager.define({"label", {"/bin/true"}, home / "logs/relay.log"});
  EXPECT_EQ(manager.bootstrap("label").output, (home / "bin/runsv").string() + ": No such file or directory");
}

}  // namespace
}  // namespace ferrin::relay
