// Runs as a user of its own, by as-fresh-user.sh, with the relay program beside this one.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "relay/Command.h"
#include "relay/Resources.h"
#include "relay/SystemdManager.h"
#include "tests/app/Machine.h"
#include "tests/support/Eventually.h"
#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {

namespace fs = std::filesystem;

struct Machine::Parts {
  const fs::path home = std::getenv("HOME");
  const fs::path runtime = std::getenv("XDG_RUNTIME_DIR");
  relay::SystemdManager services{home, runtime};
  const TemporaryFolder resources;
  const fs::path relayScript = resources / "proxy.py";
  pid_t systemd = 0;
};

Machine::Machine() : parts(std::make_unique<Parts>()) {
  for (const auto& entry : fs::directory_iterator(parts->home)) fs::remove_all(entry);
  const fs::path relay = relay::executablePath().parent_path() / "ferrin-third-party-proxy";
  put(parts->relayScript, "#!/bin/sh\nexec " + relay.string() + " \"$@\"\n");
  parts->systemd = fork();
  if (parts->systemd == 0) {
    execl("/lib/systemd/systemd", "systemd", "--user", nullptr);
    _exit(127);
  }
  if (!eventually([this] { return fs::exists(parts->runtime / "systemd/private"); })) {
    throw std::runtime_error("systemd --user does not come up");
  }
}

Machine::~Machine() {
  relay::run("/usr/bin/systemctl", {"--user", "exit"});
  waitpid(parts->systemd, nullptr, 0);
  fs::remove(parts->runtime / "systemd/private");
}

const fs::path& Machine::home() const { return parts->home; }
relay::ServiceManager& Machine::services() { return parts->services; }
const fs::path& Machine::relayScript() const { return parts->relayScript; }

}  // namespace ferrin::tests
