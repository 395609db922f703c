#include <system_error>

#include "proxy/system/ProgramFile.h"

namespace ferrin::proxy {

std::filesystem::path programPath() {
  std::error_code unknown;
  return std::filesystem::read_symlink("/proc/self/exe", unknown);
}

}  // namespace ferrin::proxy
