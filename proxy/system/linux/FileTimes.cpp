#include "proxy/system/FileTimes.h"

namespace ferrin::proxy {

std::chrono::nanoseconds modified(const struct stat& status) {
  return std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
}

std::chrono::nanoseconds changed(const struct stat& status) {
  return std::chrono::seconds(status.st_ctim.tv_sec) + std::chrono::nanoseconds(status.st_ctim.tv_nsec);
}

}  // namespace ferrin::proxy
