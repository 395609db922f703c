// What every service manager must do, tried on the real one: runit, or the systemd of as-fresh-user.sh's
// user.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "relay/managers/ManagerTable.h"
#include "relay/managers/RunitManager.h"
#include "relay/managers/SystemdManager.h"
#include "relay/system/ExecutablePath.h"
#include "tests/sampleprovider/RunningProvider.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

constexpr bool onSystemd = std::string_view(MANAGER) == "systemd";

/// systemd --user, as long as the object lives.
struct Session {
  explicit Session(fs::path place) : socket(std::move(place)) {
    if (process == 0) execl("/lib/systemd/systemd", "systemd", "--user", nullptr);
    if (!tests::eventually([this] { return exists(socket); })) throw std::runtime_error("no systemd --user");
  }
  ~Session() {
    run("/usr/bin/systemctl", {"--user", "exit"});
    waitpid(process, nullptr, 0);
    remove(socket);
  }

  const fs::path socket;
  const pid_t process = fork();
};

/// Records what it is started with, writes a line to each of its streams, and then waits to be ended.
const char* const standIn = R"(#!/bin/sh
printf 'told of %s %s\n' "$FERRIN_RELAY_PROGRAM" "${no_proxy-nothing}"
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
  const tests::TemporaryFolder folder;
  const fs::path home = onSystemd ? fs::path(getenv("HOME")) : folder / R"(it's "home" $HOME `x` 100% \n)";
  const fs::path runtimeFolder = onSystemd ? fs::path(getenv("XDG_RUNTIME_DIR")) : folder / "runtime";
  std::optional<Session> session;
  std::unique_ptr<ServiceManager> manager;
  const std::string label{core::serviceLabel}, program = home / "主 100% $HOME/the relay.py";
  ServiceDefinition definition{
      label,
      {program},
      home / "logs 100%h/the relay's.log",
      {{"FERRIN_RELAY_PROGRAM", "/a 100% \"$HOME\"/it's\\n"}, {"no_proxy", std::nullopt}}};
  pid_t process = 0;

  ServiceManagerTest() {
    setenv("no_proxy", "the manager's own", 1);
    if (onSystemd) session.emplace(runtimeFolder / "systemd/private");
    manager = chooseServiceManager(UserSession{home, runtimeFolder, {"/usr/bin"}});
    tests::putProgram(program, standIn);
  }
  ~ServiceManagerTest() override {
    manager->bootout(label);
    std::error_code homeItselfMayStay;
    remove_all(home, homeItselfMayStay);
  }
  void logInAgain() {
    if (onSystemd) {
      session.reset();
      session.emplace(runtimeFolder / "systemd/private");
    } else {
      manager->bootout(label);
      runDetached("/usr/bin/gio",
                  {"launch", home / ".config/autostart/com.ferrin.third-party-proxy.desktop"});
    }
  }
  /// In the order in which the application does it.
  void start() {
    manager->define(definition);
    manager->bootout(label);
    EXPECT_EQ(manager->bootstrap(label).status, 0);
    EXPECT_EQ(manager->kickstart(label).status, 0);
  }
  void install(const std::vector<std::string>& arguments) {
    definition.commandLine = {program};
    definition.commandLine.insert(definition.commandLine.end(), arguments.begin(), arguments.end());
    start();
    expectAnother("install");
    std::string recorded;
    for (const std::string& argument : arguments) recorded += argument + '\0';
    EXPECT_EQ(tests::contentOf(program + ".arguments"), recorded);
  }
  void expectAnother(const char* after) {
    const pid_t replaced = process;
    EXPECT_TRUE(tests::eventually([&] {
      process = std::atoi(tests::contentOf(program + ".process").c_str());
      return process != 0 && process != replaced && isAlive(process) && manager->isRunning(label);
    })) << after;
    EXPECT_FALSE(replaced != 0 && isAlive(replaced)) << after;
  }
};

TEST_F(ServiceManagerTest, runsTheProgramAsToldUntilItIsToldToStopAndAgainAtTheNextLogin) {
  const CommandResult tooEarly = manager->kickstart(label);
  EXPECT_NE(tooEarly.status, 0);
  EXPECT_TRUE(onSystemd || tooEarly.output == "/usr/bin/runsv does not run") << tooEarly.output;
  install({"", " two words", "it's \"quoted\"", "$HOME ${HOME} $$", "100% %h %%", "\x01", "back\\slash \\n",
           "a\nb\tc", "密钥 ü", "`id` $(id); # * ~", "--flag=a b", "end\\"});
  EXPECT_NE(getsid(process), getsid(0));
  const std::string status = tests::contentOf("/proc/" + std::to_string(process) + "/status");
  EXPECT_NE(status.find("\nUmask:\t0077\n"), std::string::npos) << status;
  for (const char* confined : {"\nNoNewPrivs:\t1\n", "\nSeccomp:\t2\n"})
    EXPECT_EQ(status.find(confined) != std::string::npos, onSystemd) << status;
  if (onSystemd) {
    EXPECT_EQ(
        run("/usr/bin/systemd-analyze", {"--user", "security", "--threshold=62", label + ".service"}).status,
        0);
  }
  const std::string log = tests::filesBelow(definition.logFile.parent_path())["the relay's.log"];
  EXPECT_TRUE(log.starts_with("0600 told of /a 100% \"$HOME\"/it's\\n nothing\ncomplaint\n")) << log;
  for (const auto& [file, content] : tests::filesBelow(home / ".config")) {
    EXPECT_TRUE(content.starts_with("0600 ")) << file;
  }
  if (!onSystemd) {
    const auto run = home / ".local/share/ferrin-relay/sv" / label / "run";
    EXPECT_EQ(fs::status(run).permissions(), fs::perms::owner_all) << "proxies' passwords may be in it";
  }
  install({"second"});
  for (const int signal : {SIGKILL, SIGTERM}) {
    kill(process, signal);
    expectAnother("signal");
  }
  EXPECT_EQ(manager->kickstart(label).status, 0);
  EXPECT_FALSE(isAlive(process)) << "once kickstart is back";
  expectAnother("kickstart");
  EXPECT_EQ(manager->bootout(label).status, 0);
  EXPECT_FALSE(isAlive(process) || manager->isRunning(label));
  logInAgain();
  expectAnother("login");
  install({"after a login, which loads the definition for good"});
  if (!onSystemd) return;
  for (const auto& words : {std::vector{"disable"s, "--now"s, label + ".service"}, {"daemon-reload"s}}) {
    std::vector<std::string> command{"--user"};
    command.insert(command.end(), words.begin(), words.end());
    EXPECT_EQ(run("/usr/bin/systemctl", command).status, 0);
    remove(home / ".config/systemd/user" / (label + ".service"));
  }
  EXPECT_FALSE(isAlive(process));
  EXPECT_NE(run("/usr/bin/systemctl", {"--user", "start", label}).status, 0) << "as it is not known any more";
}

TEST_F(ServiceManagerTest, stopsTheServiceUnderAnotherManagerAndKeepsThatFromStartingItAtLogin) {
  RunitManager runit(home, "/usr/bin");
  runit.define(definition);
  const fs::path entry = home / ".config/autostart/com.ferrin.third-party-proxy.desktop";
  EXPECT_TRUE(exists(entry));
  EXPECT_EQ(runit.bootstrap(label).status + runit.kickstart(label).status, 0);
  expectAnother("start by an earlier version, which preferred that manager");
  manager->bootout(label);
  EXPECT_FALSE(isAlive(process) || manager->isRunning(label));
  manager->define(definition);
  EXPECT_EQ(exists(entry), !onSystemd);
  start();
  expectAnother("start");
  manager->leaveToAnother(label);
  EXPECT_FALSE(exists(entry));
  EXPECT_EQ(onSystemd, run("/usr/bin/systemctl", {"--user", "is-enabled", label}).output == "disabled\n");
}

TEST_F(ServiceManagerTest, runsTheRelayBetweenAClientAndAProvider) {
  const tests::RunningProvider provider("sk-1");
  tests::put(home / "key", "sk-1");
  const fs::path relay =
      onSystemd ? executablePath().parent_path() / "ferrin-third-party-proxy" : RELAY_PROGRAM;
  definition.commandLine = {relay, "--host",         "127.0.0.1",        "--port",
                            "0",   "--upstream",     provider.baseURL(), "--timeout",
                            "60",  "--api-key-file", home / "key"};
  start();
  // A manager may start it at bootstrap and again at kickstart: the last line counts.
  const std::string ask = R"(curl -s --json '{"model": "m", "input": "word by word"}' \
    "$(sed -n 's/^listening on \([^,]*\),.*/\1/p' "$0" | tail -n 1)/responses" | grep 'word by word')";
  EXPECT_TRUE(tests::eventually([&] {
    return run("/bin/sh", {"-c", ask, definition.logFile}).status == 0;
  })) << tests::contentOf(definition.logFile);
}

TEST_F(ServiceManagerTest, namesTheProgramThatCannotBeStarted) {
  manager->define(definition);
  tests::putProgram(program, "#! /no/such/interpreter -x\n");
  EXPECT_EQ(manager->bootstrap(label).output,
            program + ": its interpreter /no/such/interpreter: No such file or directory");
  std::filesystem::permissions(program, std::filesystem::perms::owner_read);
  const CommandResult failed = manager->bootstrap(label);
  EXPECT_EQ(failed.output, program + ": Permission denied");
  EXPECT_TRUE(failed.status != 0 && !manager->isRunning(label));
}

TEST(LinuxDefinitions, refuseWhatTheyCannotHold) {
  EXPECT_THROW(runScript({"label", {"a\0b"s}, "/log"}), std::invalid_argument);
  for (const ServiceDefinition& bad : {ServiceDefinition{"label", {"a\0b"s}, "/log"},
                                       {"label", {"/relay"}, "/home/a\nExecStartPre=/bin/x"},
                                       {"label", {"/home/o'hara/relay"}, "/log"}}) {
    EXPECT_THROW(systemdUnit(bad), std::invalid_argument);
  }
  const CommandResult none =
      chooseServiceManager(UserSession{"/home/me", "/none", {"/none"}})->bootstrap("label");
  EXPECT_TRUE(
      none.output.ends_with("not listen at /none/systemd/private, and runit is not installed. Install runit "
                            "(on Debian: apt install runit)."));
}

}  // namespace
}  // namespace ferrin::relay
