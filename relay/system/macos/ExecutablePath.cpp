#include <mach-o/dyld.h>

#include <cstdint>
#include <string>

#include "relay/system/ExecutablePath.h"

namespace ferrin::relay {

std::filesystem::path executablePath() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::string name(size, '\0');
  _NSGetExecutablePath(name.data(), &size);
  return std::filesystem::canonical(name.c_str());
}

}  // namespace ferrin::relay
