#pragma once
// What every service manager must do, tried on the real one: tests/relay/*ManagerTest.cpp name theirs.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "relay/ServiceManager.h"
#include "tests/relay/StandIns.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {

/// `Machine` offers start() and stop() for the whole suite, home(), and manager().
template <typename Machine>
class ServiceManagerContract : public testing::Test {
 protected:
  static void SetUpTestSuite() { Machine::start(); }
  static void TearDownTestSuite() { Machine::stop(); }

  void TearDown() override { manager->bootout(label); }

  ServiceDefinition definition(const std::vector<std::string>& arguments = {}) const {
    std::vector<std::string> commandLine{relay.path().string()};
    commandLine.insert(commandLine.end(), arguments.begin(), arguments.end());
    return {label, commandLine, folder / "logs 100%/the relay's.log"};
  }

  /// The order in which the application does it.
  void install(const ServiceDefinition& wanted) {
    manager->define(wanted);
    manager->bootout(label);
    const CommandResult bootstrapped = manager->bootstrap(label);
    ASSERT_EQ(bootstrapped.status, 0) << bootstrapped.output;
    const CommandResult kicked = manager->kickstart(label);
    ASSERT_EQ(kicked.status, 0) << kicked.output;
  }

  /// The relay as it runs now; 0 when it has not recorded itself within the deadline.
  pid_t runningRelay(pid_t other = 0) const {
    pid_t found = 0;
    tests::eventually([&] {
      const auto starts = relay.starts();
      found = starts.empty() || starts.back() == other || !tests::isAlive(starts.back()) ? 0 : starts.back();
      return found != 0;
    });
    return found;
  }

  std::size_t livingRelays() const {
    const auto starts = relay.starts();
    return static_cast<std::size_t>(std::count_if(starts.begin(), starts.end(), tests::isAlive));
  }

  std::unique_ptr<ServiceManager> manager = Machine::manager();
  const std::string label =
      std::string("com.ferrin.test.") + testing::UnitTest::GetInstance()->current_test_info()->name();
  const std::filesystem::path folder = Machine::home() / ("主 100% $HOME " + label);
  const tests::StandInRelay relay{folder / "bin/the relay.py"};
};

TYPED_TEST_SUITE_P(ServiceManagerContract);

TYPED_TEST_P(ServiceManagerContract, startsTheProgramWithExactlyItsArguments) {
  const std::vector<std::string> arguments{
      "plain", "",      "two words", " ",           "it's", "\"quoted\"", "$HOME",      "${HOME}",
      "$$",    "100%",  "%h %%",     "back\\slash", "\\n",  "a\nb",       "a\tb",       "密钥 ü",
      "`id`",  "$(id)", ";",         "#x",          "*",    "~",          "--flag=a b", "end\\"};
  this->install(this->definition(arguments));
  ASSERT_NE(this->runningRelay(), 0);
  auto expected = arguments;
  expected.insert(expected.begin(), this->relay.path().string());
  EXPECT_EQ(this->relay.arguments(), expected);
  EXPECT_TRUE(this->manager->isRunning(this->label));
  const std::string log = tests::contentOf(this->definition().logFile);
  EXPECT_NE(log.find("started with 24 arguments\n"), std::string::npos) << log;
  EXPECT_NE(log.find("complaint\n"), std::string::npos) << log;
  EXPECT_EQ(tests::modeOf(this->definition().logFile), 0600U);
}

TYPED_TEST_P(ServiceManagerContract, reinstallReplacesTheRunningService) {
  this->install(this->definition({"first"}));
  const pid_t first = this->runningRelay();
  ASSERT_NE(first, 0);
  this->install(this->definition({"second"}));
  ASSERT_NE(this->runningRelay(first), 0);
  EXPECT_FALSE(tests::isAlive(first));
  EXPECT_EQ(this->relay.arguments().back(), "second");
  EXPECT_EQ(this->livingRelays(), 1U);
}

TYPED_TEST_P(ServiceManagerContract, startsAgainAfterAnyEnd) {
  this->install(this->definition());
  for (const int signal : {SIGKILL, SIGTERM}) {
    const pid_t before = this->runningRelay();
    ASSERT_NE(before, 0);
    ASSERT_EQ(kill(before, signal), 0);
    EXPECT_NE(this->runningRelay(before), 0);
    EXPECT_TRUE(tests::eventually([&] { return this->manager->isRunning(this->label); }));
  }
}

TYPED_TEST_P(ServiceManagerContract, kickstartReturnsOnceTheOldProcessIsGone) {
  this->install(this->definition());
  for (int round = 0; round < 2; ++round) {
    const pid_t before = this->runningRelay();
    ASSERT_NE(before, 0);
    EXPECT_EQ(this->manager->kickstart(this->label).status, 0);
    EXPECT_FALSE(tests::isAlive(before));
  }
  EXPECT_NE(tests::contentOf(this->definition().logFile).find("asked to end\n"), std::string::npos);
}

TYPED_TEST_P(ServiceManagerContract, bootoutStopsTheServiceAndFailsHarmlesslyWithoutOne) {
  EXPECT_FALSE(this->manager->isRunning(this->label));
  EXPECT_NE(this->manager->kickstart(this->label).status, 0);
  this->manager->bootout(this->label);
  this->install(this->definition());
  const pid_t running = this->runningRelay();
  ASSERT_NE(running, 0);
  EXPECT_EQ(this->manager->bootout(this->label).status, 0);
  EXPECT_FALSE(tests::isAlive(running));
  EXPECT_FALSE(this->manager->isRunning(this->label));
  this->manager->bootout(this->label);
  EXPECT_EQ(this->livingRelays(), 0U);
}

TYPED_TEST_P(ServiceManagerContract, namesTheProgramThatCannotBeStarted) {
  const auto failureOf = [this] {
    this->manager->define(this->definition());
    this->manager->bootout(this->label);
    const CommandResult failed = this->manager->bootstrap(this->label);
    EXPECT_NE(failed.status, 0);
    EXPECT_FALSE(this->manager->isRunning(this->label));
    return failed.output;
  };
  const std::string program = this->relay.path().string();
  std::filesystem::permissions(program, std::filesystem::perms::owner_read);
  EXPECT_EQ(failureOf(), program + ": Permission denied");
  std::filesystem::remove(program);
  EXPECT_EQ(failureOf(), program + ": No such file or directory");
  tests::putProgram(program, "#! /no/such/interpreter -x\n");
  EXPECT_EQ(failureOf(), program + ": its interpreter /no/such/interpreter: No such file or directory");
}

REGISTER_TYPED_TEST_SUITE_P(ServiceManagerContract, startsTheProgramWithExactlyItsArguments,
                            reinstallReplacesTheRunningService, startsAgainAfterAnyEnd,
                            kickstartReturnsOnceTheOldProcessIsGone,
                            bootoutStopsTheServiceAndFailsHarmlesslyWithoutOne,
                            namesTheProgramThatCannotBeStarted);

}  // namespace ferrin::relay
