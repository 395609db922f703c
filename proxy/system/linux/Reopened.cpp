#include <fcntl.h>

#include <string>

#include "proxy/system/Reopened.h"

namespace ferrin::proxy {

int reopened(int descriptor) {
  return open(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), O_RDWR | O_CLOEXEC);
}

}  // namespace ferrin::proxy
