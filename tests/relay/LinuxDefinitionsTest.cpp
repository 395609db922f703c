// What is written for Linux's service managers, as far as these don't show it themselves, and which of them
// is chosen.

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

TEST(Definitions, refuseWhatTheyCannotHold) {
  EXPECT_THROW(runScript({"label", {"a\0b"s}, "/log"}), std::invalid_argument);
  for (const ServiceDefinition& bad : {ServiceDefinition{"label", {"a\0b"s}, "/log"},
                                       {"label", {"/relay"}, "/home/a\nExecStartPre=/bin/x"},
                                       {"label", {"/home/o'hara/relay"}, "/log"}}) {
    EXPECT_THROW(systemdUnit(bad), std::invalid_argument);
  }
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
  RunitManager runit(home.path(), home / "bin");
  runit.define(definition);
  const auto folder = home / ".local/share/ferrin-relay/sv/label";
  EXPECT_EQ(tests::filesBelow(home.path()),
            (tests::FileTree{
                {".config/systemd/user/label.service", "0600 " + systemdUnit(definition)},
                {".config/autostart/label.desktop", "0600 " + autostartEntry(home / "bin/runsv", folder)},
                {".local/share/ferrin-relay/sv/label/run", "0700 " + runScript(definition)}}));
  EXPECT_TRUE(exists(home / "logs"));
  runit.define({"label", {"/bin/true"}, home / "logs/relay.log"});
  EXPECT_EQ(runit.bootstrap("label").output, (home / "bin/runsv").string() + ": No such file or directory");
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
  const CommandResult none = chosen()->bootstrap("label");
  EXPECT_TRUE(
      none.output.ends_with("not listen at " + (machine / "systemd/private").string() +
                            ", and runit is not installed. Install runit (on Debian: apt install runit)."));
}

}  // namespace
}  // namespace ferrin::relay
