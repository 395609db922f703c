// What every service manager must do, tried on the real one: which, is decided by the Machine that is linked.

#include "relay/ServiceManager.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>

#include "tests/relay/Machine.h"
#include "tests/relay/StandIns.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

class ServiceManagerTest : public testing::Test {
 protected:
  void install(const std::vector<std::string>& arguments = {}) const {
    tests::install(manager, tests::serviceOf(relay, arguments));
  }
  std::string log() const { return tests::contentOf(tests::serviceOf(relay).logFile); }

  const std::unique_ptr<tests::Machine> machine = tests::freshMachine();
  ServiceManager& manager = *machine->services;
  const tests::StandInRelay relay{machine->home / "主 100% $HOME/the relay.py"};
  const std::string label{core::serviceLabel};
};

TEST_F(ServiceManagerTest, startsTheProgramWithExactlyItsArguments) {
  const std::vector<std::string> arguments{
      "plain", "",      "two words", " ",           "it's", "\"quoted\"", "$HOME",      "${HOME}",
      "$$",    "100%",  "%h %%",     "back\\slash", "\\n",  "a\nb",       "a\tb",       "密钥 ü",
      "`id`",  "$(id)", ";",         "#x",          "*",    "~",          "--flag=a b", "end\\"};
  install(arguments);
  ASSERT_NE(relay.running(), 0);
  EXPECT_TRUE(manager.isRunning(label));
  const auto definition = tests::serviceOf(relay, arguments);
  EXPECT_EQ(relay.arguments(), definition.commandLine);
  EXPECT_NE(log().find("started with 24 arguments\n"), std::string::npos) << log();
  EXPECT_NE(log().find("told of " + definition.relayProgram.string() + "\n"), std::string::npos) << log();
  EXPECT_NE(log().find("complaint\n"), std::string::npos) << log();
  EXPECT_EQ(tests::modeOf(definition.logFile), 0600U);
}

TEST_F(ServiceManagerTest, reinstallReplacesTheRunningService) {
  install({"first"});
  const pid_t first = relay.running();
  install({"second"});
  EXPECT_NE(relay.running(first), 0);
  EXPECT_EQ(relay.arguments().back(), "second");
  const auto starts = relay.starts();
  EXPECT_EQ(std::count_if(starts.begin(), starts.end(), tests::isAlive), 1);
}

TEST_F(ServiceManagerTest, startsAgainAfterAnyEnd) {
  install();
  for (const int signal : {SIGKILL, SIGTERM}) {
    const pid_t before = relay.running();
    ASSERT_NE(before, 0);
    kill(before, signal);
    EXPECT_NE(relay.running(before), 0);
    EXPECT_TRUE(tests::eventually([&] { return manager.isRunning(label); }));
  }
}

TEST_F(ServiceManagerTest, kickstartReturnsOnceTheOldProcessIsGone) {
  install();
  for (int round = 0; round < 2; ++round) {
    const pid_t before = relay.running();
    ASSERT_NE(before, 0);
    EXPECT_EQ(manager.kickstart(label).status, 0);
    EXPECT_FALSE(tests::isAlive(before));
  }
  EXPECT_NE(log().find("asked to end\n"), std::string::npos);
}

TEST_F(ServiceManagerTest, bootoutStopsTheServiceAndFailsHarmlesslyWithoutOne) {
  manager.bootout(label);
  EXPECT_FALSE(manager.isRunning(label));
  EXPECT_NE(manager.kickstart(label).status, 0);
  install();
  const pid_t running = relay.running();
  ASSERT_NE(running, 0);
  EXPECT_EQ(manager.bootout(label).status, 0);
  EXPECT_FALSE(tests::isAlive(running));
  EXPECT_FALSE(manager.isRunning(label));
}

TEST_F(ServiceManagerTest, namesTheProgramThatCannotBeStarted) {
  const std::string program = relay.path().string();
  const auto expectFailure = [&](const std::string& reason) {
    manager.define(tests::serviceOf(relay));
    const CommandResult failed = manager.bootstrap(label);
    EXPECT_NE(failed.status, 0);
    EXPECT_EQ(failed.output, program + ": " + reason);
    EXPECT_FALSE(manager.isRunning(label));
  };
  std::filesystem::permissions(program, std::filesystem::perms::owner_read);
  expectFailure("Permission denied");
  std::filesystem::remove(program);
  expectFailure("No such file or directory");
  tests::putProgram(program, "#! /no/such/interpreter -x\n");
  expectFailure("its interpreter /no/such/interpreter: No such file or directory");
}

}  // namespace
}  // namespace ferrin::relay
