// What every service manager must do, tried on the real one: which, is decided by the Machine that is linked.

#include "relay/ServiceManager.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/relay/Machine.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

/// Records what it is started with, writes a line to each of its streams, and then waits to be ended.
const char* const standIn = R"(#!/bin/sh
printf 'told of %s\n' "$FERRIN_RELAY_PROGRAM"
echo complaint >&2
printf '%s\0' "$@" >"$0.arguments"
echo $$ >"$0.process"
exec sleep 600
)";

/// A process that has ended and is only waited for is not alive any more.
bool isAlive(pid_t process) {
  const std::string state = tests::contentOf("/proc/" + std::to_string(process) + "/stat");
  return state.find(") Z ") == std::string::npos && kill(process, 0) == 0;
}

struct ServiceManagerTest : testing::Test {
  const std::unique_ptr<tests::Machine> machine = tests::freshMachine();
  ServiceManager& manager = *machine->services;
  const std::string label{core::serviceLabel}, program = machine->home / "主 100% $HOME/the relay.py";
  ServiceDefinition definition{
      label, {program}, machine->home / "logs 100%h/the relay's.log", "/a 100% \"$HOME\"/it's\\n"};
  pid_t process = 0;

  ServiceManagerTest() { tests::putProgram(program, standIn); }
  /// In the order in which the application does it.
  void install(const std::vector<std::string>& arguments) {
    definition.commandLine = {program};
    definition.commandLine.insert(definition.commandLine.end(), arguments.begin(), arguments.end());
    manager.define(definition);
    manager.bootout(label);
    EXPECT_EQ(manager.bootstrap(label).status, 0);
    EXPECT_EQ(manager.kickstart(label).status, 0);
    expectAnother("install");
    std::string recorded;
    for (const std::string& argument : arguments) recorded += argument + '\0';
    EXPECT_EQ(tests::contentOf(program + ".arguments"), recorded);
  }
  void expectAnother(const char* after) {
    const pid_t replaced = process;
    EXPECT_TRUE(tests::eventually([&] {
      process = std::atoi(tests::contentOf(program + ".process").c_str());
      return process != 0 && process != replaced && isAlive(process) && manager.isRunning(label);
    })) << after;
    EXPECT_FALSE(replaced != 0 && isAlive(replaced)) << after;
  }
};

TEST_F(ServiceManagerTest, runsTheProgramAsToldUntilItIsToldToStopAndAgainAtTheNextLogin) {
  EXPECT_NE(manager.kickstart(label).status, 0);
  install({"", " two words", "it's \"quoted\"", "$HOME ${HOME} $$", "100% %h %%", "\x01", "back\\slash \\n",
           "a\nb\tc", "密钥 ü", "`id` $(id); # * ~", "--flag=a b", "end\\"});
  EXPECT_NE(getsid(process), getsid(0));
  const std::string status = tests::contentOf("/proc/" + std::to_string(process) + "/status");
  for (const auto& line : machine->confinement) EXPECT_NE(status.find(line), std::string::npos) << line;
  EXPECT_TRUE(
      tests::contentOf(definition.logFile).starts_with("told of /a 100% \"$HOME\"/it's\\n\ncomplaint\n"));
  EXPECT_EQ(tests::modeOf(definition.logFile), 0600U);
  for (const auto& [file, content] : tests::filesBelow(machine->home / ".config")) {
    EXPECT_TRUE(content.starts_with("0600 ")) << file;
  }
  install({"second"});
  for (const int signal : {SIGKILL, SIGTERM}) {
    kill(process, signal);
    expectAnother("signal");
  }
  EXPECT_EQ(manager.kickstart(label).status, 0);
  EXPECT_FALSE(isAlive(process)) << "once kickstart is back";
  expectAnother("kickstart");
  EXPECT_EQ(manager.bootout(label).status, 0);
  EXPECT_FALSE(isAlive(process) || manager.isRunning(label));
  machine->logInAgain();
  expectAnother("login");
}

TEST_F(ServiceManagerTest, namesTheProgramThatCannotBeStarted) {
  manager.define(definition);
  tests::putProgram(program, "#! /no/such/interpreter -x\n");
  EXPECT_EQ(manager.bootstrap(label).output,
            program + ": its interpreter /no/such/interpreter: No such file or directory");
  std::filesystem::permissions(program, std::filesystem::perms::owner_read);
  const CommandResult failed = manager.bootstrap(label);
  EXPECT_EQ(failed.output, program + ": Permission denied");
  EXPECT_TRUE(failed.status != 0 && !manager.isRunning(label));
}

}  // namespace
}  // namespace ferrin::relay
