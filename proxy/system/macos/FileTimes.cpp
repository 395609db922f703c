#include "proxy/system/FileTimes.h"

namespace ferrin::proxy {

std::chrono::nanoseconds modified(const struct stat& status) {
  return std::chrono::seconds(status.st_mtimespec.tv_sec) +
         std::chrono::nanoseconds(status.st_mtimespec.tv_nsec);
}

std::chrono::nanoseconds changed(const struct stat& status) {
  return std::chrono::seconds(status.st_ctimespec.tv_sec) +
         std::chrono::nanoseconds(status.st_ctimespec.tv_nsec);
}

}  // namespace ferrin::proxy
