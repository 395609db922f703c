#include <fcntl.h>
#include <sys/param.h>

#include <array>

#include "proxy/system/Reopened.h"

namespace ferrin::proxy {

int reopened(int descriptor) {
  std::array<char, MAXPATHLEN> path{};
  if (fcntl(descriptor, F_GETPATH, path.data()) != 0) return -1;
  return open(path.data(), O_RDWR | O_CLOEXEC);
}

}  // namespace ferrin::proxy
