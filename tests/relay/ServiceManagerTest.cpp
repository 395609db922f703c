// What every service manager must do, tried on the real one: which, is decided by the Machine that is linked.

#include "relay/ServiceManager.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/relay/Machine.h"
#include "tests/relay/StandIns.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

class ServiceManagerTest : public testing::Test {
 protected:
  std::string log() const { return tests::contentOf(tests::serviceOf(relay).logFile); }

  const std::unique_ptr<tests::Machine> machine = tests::freshMachine();
  ServiceManager& manager = *machine->services;
  const tests::StandInRelay relay{machine->home / "主 100% $HOME/the relay.py"};
  const std::string label{core::serviceLabel};
};

TEST_F(ServiceManagerTest, startsTheProgramWithExactlyItsArguments) {
  const std::vector<std::string> arguments{
      "plain", "",      "two words", " ",           "it's", "\"quoted\"", "$HOME", "${HOME}", "$$",
      "100%",  "%h %%", "\x01",      "back\\slash", "\\n",  "a\nb",       "a\tb",  "密钥 ü",  "`id`",
      "$(id)", ";",     "#x",        "*",           "~",    "--flag=a b", "end\\"};
  const auto definition = tests::serviceOf(relay, arguments);
  tests::install(manager, definition);
  ASSERT_NE(relay.running(), 0);
  EXPECT_TRUE(manager.isRunning(label));
  EXPECT_EQ(relay.arguments(), definition.commandLine);
  for (const std::string& line :
       {"told of " + definition.relayProgram.string() + "\n", std::string("complaint\n")}) {
    EXPECT_NE(log().find(line), std::string::npos) << log();
  }
  EXPECT_EQ(tests::modeOf(definition.logFile), 0600U);
}

TEST_F(ServiceManagerTest, keepsOneProcessRunningUntilItIsToldToStop) {
  manager.bootout(label);
  EXPECT_FALSE(manager.isRunning(label));
  EXPECT_NE(manager.kickstart(label).status, 0);
  pid_t process = 0;
  for (const char* argument : {"first", "second"}) {
    tests::install(manager, tests::serviceOf(relay, {argument}));
    const pid_t replaced = std::exchange(process, relay.running(process));
    ASSERT_NE(process, 0);
    EXPECT_EQ(relay.arguments().back(), argument);
    EXPECT_TRUE(replaced == 0 || !tests::isAlive(replaced));
  }
  for (const int signal : {SIGKILL, SIGTERM}) {
    kill(process, signal);
    process = relay.running(process);
    ASSERT_NE(process, 0);
    EXPECT_TRUE(tests::eventually([&] { return manager.isRunning(label); }));
  }
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(manager.kickstart(label).status, 0);
    EXPECT_FALSE(tests::isAlive(process)) << "once kickstart is back";
    process = relay.running(process);
    ASSERT_NE(process, 0);
  }
  EXPECT_NE(log().find("asked to end\n"), std::string::npos);
  EXPECT_EQ(manager.bootout(label).status, 0);
  EXPECT_FALSE(tests::isAlive(process) || manager.isRunning(label));
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
