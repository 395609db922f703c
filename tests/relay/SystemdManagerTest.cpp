// Runs as a user of its own, by as-fresh-user.sh, which gives it a home and a control group.

#include "relay/SystemdManager.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "relay/ServiceManager_linux.h"
#include "tests/relay/ServiceManagerContract.h"

namespace ferrin::relay {
namespace {

struct Systemd {
  static std::filesystem::path home() { return std::getenv("HOME"); }
  static std::filesystem::path runtime() { return std::getenv("XDG_RUNTIME_DIR"); }
  static std::unique_ptr<ServiceManager> manager() { return chooseLinuxManager(home(), runtime(), {}); }

  static void start() {
    process = fork();
    if (process == 0) {
      execl("/lib/systemd/systemd", "systemd", "--user", nullptr);
      _exit(127);
    }
    ASSERT_TRUE(tests::eventually([] { return exists(runtime() / "systemd/private"); }));
  }

  static void stop() {
    run("/usr/bin/systemctl", {"--user", "exit"});
    waitpid(process, nullptr, 0);
    remove(runtime() / "systemd/private");
  }

  static inline pid_t process = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Systemd, ServiceManagerContract, Systemd);

class SystemdLogin : public ServiceManagerContract<Systemd> {};

TEST_F(SystemdLogin, startsTheServiceAgainAfterAStopToo) {
  install(definition());
  const pid_t first = runningRelay();
  ASSERT_NE(first, 0);
  Systemd::stop();
  EXPECT_FALSE(tests::isAlive(first));
  Systemd::start();
  const pid_t second = runningRelay(first);
  EXPECT_NE(second, 0);
  manager->bootout(label);
  Systemd::stop();
  Systemd::start();
  EXPECT_NE(runningRelay(second), 0);
}

TEST_F(SystemdLogin, confinesTheService) {
  install(definition());
  const pid_t running = runningRelay();
  ASSERT_NE(running, 0);
  const std::string status = tests::contentOf("/proc/" + std::to_string(running) + "/status");
  EXPECT_NE(status.find("NoNewPrivs:\t1\n"), std::string::npos);
  EXPECT_NE(status.find("Seccomp:\t2\n"), std::string::npos);
  EXPECT_NE(status.find("Umask:\t0077\n"), std::string::npos);
}

TEST_F(SystemdLogin, saysThatTheManagerIsNotThere) {
  SystemdManager unreachable(folder, folder / "no runtime");
  unreachable.define(definition());
  const CommandResult failed = unreachable.bootstrap(label);
  EXPECT_NE(failed.status, 0);
  EXPECT_NE(failed.output.find("Failed to connect to bus"), std::string::npos) << failed.output;
}

}  // namespace
}  // namespace ferrin::relay
