#pragma once
// systemd --user, for a program that as-fresh-user.sh runs.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "relay/Command.h"
#include "tests/support/Eventually.h"

namespace ferrin::tests {

/// Runs as long as the object lives.
class UserSystemd {
 public:
  UserSystemd() : process(fork()) {
    if (process == 0) {
      execl("/lib/systemd/systemd", "systemd", "--user", nullptr);
      _exit(127);
    }
    if (!eventually([] { return exists(socket()); })) throw std::runtime_error("no systemd --user");
  }
  UserSystemd(const UserSystemd&) = delete;
  ~UserSystemd() {
    relay::run("/usr/bin/systemctl", {"--user", "exit"});
    waitpid(process, nullptr, 0);
    remove(socket());
  }

  static std::filesystem::path home() { return std::getenv("HOME"); }
  static std::filesystem::path runtimeFolder() { return std::getenv("XDG_RUNTIME_DIR"); }

 private:
  static std::filesystem::path socket() { return runtimeFolder() / "systemd/private"; }

  const pid_t process;
};

}  // namespace ferrin::tests
