#include <sys/prctl.h>
#include <sys/resource.h>

#include "proxy/system/CoreDumps.h"

namespace ferrin::proxy {

// The resource limit alone doesn't bind a dump handler that the kernel pipes to (core(5)).
NoCoreDumps::NoCoreDumps() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  prctl(PR_SET_DUMPABLE, 0);
}

NoCoreDumps::~NoCoreDumps() { prctl(PR_SET_DUMPABLE, 1); }

}  // namespace ferrin::proxy
