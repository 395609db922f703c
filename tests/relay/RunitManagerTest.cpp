#include "relay/RunitManager.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/relay/ServiceManagerContract.h"

namespace ferrin::relay {
namespace {

struct Runit {
  static void start() { folder = std::make_unique<tests::TemporaryFolder>(); }
  static void stop() { folder.reset(); }
  static std::filesystem::path home() { return *folder / "it's \"home\""; }
  static std::unique_ptr<ServiceManager> manager() { return std::make_unique<RunitManager>(home()); }

  static inline std::unique_ptr<tests::TemporaryFolder> folder;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Runit, ServiceManagerContract, Runit);

TEST(RunScript, quotesEveryWordForTheShell) {
  EXPECT_EQ(
      runScript({"label", {"/home/it's me/relay.py", "--host", "$HOME", ""}, "/home/it's me/logs/relay.log"}),
      "#!/bin/sh\n"
      "umask 077\n"
      "mkdir -p '/home/it'\\''s me/logs'\n"
      "exec >>'/home/it'\\''s me/logs/relay.log' 2>&1 </dev/null\n"
      "exec '/home/it'\\''s me/relay.py' '--host' '$HOME' ''\n");
  EXPECT_THROW(runScript({"label", {std::string("a\0b", 3)}, "/log"}), std::invalid_argument);
}

TEST(AutostartEntry, quotesPathsAsTheFormatDemands) {
  const std::string entry = autostartEntry("/usr/bin/runsv", "/home/a \"b\" $c `d` e\\f 100%/sv");
  EXPECT_NE(
      entry.find(
          "\nExec=\"/usr/bin/runsv\" \"/home/a \\\\\"b\\\\\" \\\\$c \\\\`d\\\\` e\\\\\\\\f 100%%/sv\"\n"),
      std::string::npos)
      << entry;
}

TEST(RunitManager, definesForTheOwnerAloneAndForTheNextLogin) {
  const tests::TemporaryFolder home;
  RunitManager(home.path()).define({"label", {"/relay"}, home / "logs/relay.log"});
  EXPECT_EQ(tests::modeOf(home / ".local/share/ferrin-relay/sv/label/run"), 0700U);
  EXPECT_EQ(tests::contentOf(home / ".config/autostart/label.desktop"),
            autostartEntry("/usr/bin/runsv", home / ".local/share/ferrin-relay/sv/label"));
}

TEST(RunitManager, namesTheSupervisorThatIsMissing) {
  const tests::TemporaryFolder home;
  RunitManager manager(home.path(), home / "bin");
  manager.define({"label", {"/bin/true"}, home / "logs/relay.log"});
  const CommandResult failed = manager.bootstrap("label");
  EXPECT_NE(failed.status, 0);
  EXPECT_EQ(failed.output, (home / "bin/runsv").string() + ": No such file or directory");
}

}  // namespace
}  // namespace ferrin::relay
