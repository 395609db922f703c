// Runs as a user of its own, by as-fresh-user.sh, for whole flows with the relay program beside this one.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>

#include "relay/Resources.h"
#include "relay/ServiceManager_linux.h"
#include "tests/relay/Machine.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {
namespace {

namespace fs = std::filesystem;

/// systemd --user, as long as the object lives.
struct Session {
  Session() {
    if (process == 0) execl("/lib/systemd/systemd", "systemd", "--user", nullptr);
    if (!eventually([this] { return exists(socket); })) throw std::runtime_error("no systemd --user");
  }
  ~Session() {
    relay::run("/usr/bin/systemctl", {"--user", "exit"});
    waitpid(process, nullptr, 0);
    remove(socket);
  }

  const fs::path runtimeFolder = std::getenv("XDG_RUNTIME_DIR");
  const fs::path socket = runtimeFolder / "systemd/private";
  const pid_t process = fork();
};

struct SystemdMachine : Machine {
  SystemdMachine() {
    home = std::getenv("HOME");
    for (const auto& entry : fs::directory_iterator(home)) fs::remove_all(entry);
    session.emplace();
    services = relay::chooseLinuxManager(home, session->runtimeFolder, {});
    relayScript = resources / "proxy.py";
    const fs::path relay = relay::executablePath().parent_path() / "ferrin-third-party-proxy";
    put(relayScript, "#!/bin/sh\nexec " + relay.string() + " \"$@\"\n");
    confinement.insert(confinement.end(), {"\nNoNewPrivs:\t1\n", "\nSeccomp:\t2\n"});
  }
  void logInAgain() override {
    session.reset();
    session.emplace();
  }

  const TemporaryFolder resources;
  std::optional<Session> session;
};

}  // namespace

std::unique_ptr<Machine> freshMachine() { return std::make_unique<SystemdMachine>(); }

}  // namespace ferrin::tests
