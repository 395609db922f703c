#include <mach-o/dyld.h>

#include <cstdint>
#include <string>
#include <system_error>

#include "proxy/system/ProgramFile.h"

namespace ferrin::proxy {

std::filesystem::path programPath() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::string name(size, '\0');
  _NSGetExecutablePath(name.data(), &size);
  std::error_code unknown;
  return std::filesystem::canonical(name.c_str(), unknown);
}

}  // namespace ferrin::proxy
