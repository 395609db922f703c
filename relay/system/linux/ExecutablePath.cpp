#include "relay/system/ExecutablePath.h"

namespace ferrin::relay {

std::filesystem::path executablePath() { return std::filesystem::read_symlink("/proc/self/exe"); }

}  // namespace ferrin::relay
