// private-network PROGRAM [ARGUMENT...]: runs PROGRAM where no port is taken and nobody else listens, on a
// loopback interface of its own. Exits with 77, and the reason, where the system doesn't let us.

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

namespace {

constexpr int skipped = 77;

/// Anybody but root first needs a name space in which to be allowed to; there everybody keeps their number.
bool enterNameSpaces() {
  const uid_t user = geteuid();
  const gid_t group = getegid();
  if (unshare(user == 0 ? CLONE_NEWNET : CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  if (user == 0) return true;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
  return static_cast<bool>(std::ofstream("/proc/self/gid_map")
                           << group << ' ' << group << " 1" << std::flush);
}

bool raiseLoopback() {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq interface {};
  std::string_view("lo").copy(interface.ifr_name, IFNAMSIZ);
  interface.ifr_flags = IFF_UP | IFF_RUNNING;
  const bool raised = ioctl(descriptor, SIOCSIFFLAGS, &interface) == 0;
  close(descriptor);
  return raised;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || !enterNameSpaces() || !raiseLoopback()) {
    std::cerr << "no network of one's own: " << std::strerror(errno) << '\n';
    return skipped;
  }
  execvp(argv[1], argv + 1);
  std::cerr << argv[1] << ": " << std::strerror(errno) << '\n';
  return 127;
}
