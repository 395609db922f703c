#include <sys/resource.h>

#include "proxy/system/CoreDumps.h"

namespace ferrin::proxy {

NoCoreDumps::NoCoreDumps() {
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

NoCoreDumps::~NoCoreDumps() = default;

}  // namespace ferrin::proxy
