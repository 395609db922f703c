// What every service manager must do, tried on the real one: which, is decided by the Machine that is linked.

#include "relay/ServiceManager.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/relay/Machine.h"
#include "tests/relay/StandIns.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

class ServiceManagerTest : public testing::Test {
 protected:
  /// In the order in which the application does it.
  void install(const std::vector<std::string>& arguments) {
    definition.commandLine = {relay.path().string()};
    definition.commandLine.insert(definition.commandLine.end(), arguments.begin(), arguments.end());
    manager.define(definition);
    manager.bootout(label);
    for (const auto& result : {manager.bootstrap(label), manager.kickstart(label)}) {
      EXPECT_EQ(result.status, 0) << result.output;
    }
  }

  const std::unique_ptr<tests::Machine> machine = tests::freshMachine();
  ServiceManager& manager = *machine->services;
  const tests::StandInRelay relay{machine->home / "主 100% $HOME/the relay.py"};
  const std::string label{core::serviceLabel};
  ServiceDefinition definition{
      label, {}, relay.path().parent_path() / "logs 100%h/the relay's.log", "/a 100% \"$HOME\"/it's\\n"};
};

TEST_F(ServiceManagerTest, startsTheProgramWithExactlyItsArgumentsForItsOwnerAlone) {
  install({"", " two words", "it's \"quoted\"", "$HOME ${HOME} $$", "100% %h %%", "\x01", "back\\slash \\n",
           "a\nb\tc", "密钥 ü", "`id` $(id); # * ~", "--flag=a b", "end\\"});
  const pid_t process = relay.running();
  ASSERT_NE(process, 0);
  EXPECT_EQ(relay.arguments(), definition.commandLine);
  EXPECT_NE(getsid(process), getsid(0));
  EXPECT_TRUE(tests::contentOf(definition.logFile)
                  .starts_with("told of " + definition.relayProgram.string() + "\ncomplaint\n"));
  EXPECT_EQ(tests::modeOf(definition.logFile), 0600U);
  for (const auto& [file, content] : tests::filesBelow(machine->home / ".config")) {
    EXPECT_TRUE(content.starts_with("0600 ")) << file;
  }
  const std::string status = tests::contentOf("/proc/" + std::to_string(process) + "/status");
  for (const auto& line : machine->confinement) EXPECT_NE(status.find(line), std::string::npos) << line;
}

TEST_F(ServiceManagerTest, keepsOneProcessRunningUntilItIsToldToStopAndStartsItAtTheNextLogin) {
  manager.bootout(label);
  EXPECT_NE(manager.kickstart(label).status, 0);
  pid_t process = 0;
  const auto expectAnother = [&](const char* after) {
    const pid_t replaced = std::exchange(process, relay.running(process));
    EXPECT_NE(process, 0) << after;
    EXPECT_FALSE(replaced != 0 && tests::isAlive(replaced)) << after;
    EXPECT_TRUE(tests::eventually([&] { return manager.isRunning(label); })) << after;
  };
  for (const char* argument : {"first", "second"}) {
    install({argument});
    expectAnother(argument);
    EXPECT_EQ(relay.arguments().back(), argument);
  }
  for (const int signal : {SIGKILL, SIGTERM}) {
    kill(process, signal);
    expectAnother("signal");
  }
  EXPECT_EQ(manager.kickstart(label).status, 0);
  EXPECT_FALSE(tests::isAlive(process)) << "once kickstart is back";
  expectAnother("kickstart");
  EXPECT_EQ(manager.bootout(label).status, 0);
  EXPECT_FALSE(tests::isAlive(process) || manager.isRunning(label));
  machine->logInAgain();
  expectAnother("login");
}

TEST_F(ServiceManagerTest, namesTheProgramThatCannotBeStarted) {
  const std::string program = relay.path().string();
  definition.commandLine = {program};
  const auto failure = [&] {
    manager.define(definition);
    const CommandResult failed = manager.bootstrap(label);
    EXPECT_TRUE(failed.status != 0 && !manager.isRunning(label)) << failed.output;
    return failed.output;
  };
  tests::putProgram(program, "#! /no/such/interpreter -x\n");
  EXPECT_EQ(failure(), program + ": its interpreter /no/such/interpreter: No such file or directory");
  std::filesystem::permissions(program, std::filesystem::perms::owner_read);
  EXPECT_EQ(failure(), program + ": Permission denied");
}

}  // namespace
}  // namespace ferrin::relay
