#include "app/ProcessSetup.h"

#include <sys/resource.h>

#include <csignal>

namespace ferrin::app {

void setUpProcess() {
  std::signal(SIGCHLD, SIG_DFL);  // "ignored" is inherited, and loses exit statuses
  constexpr rlimit none{.rlim_cur = 0, .rlim_max = 0};
  setrlimit(RLIMIT_CORE, &none);
}

}  // namespace ferrin::app
