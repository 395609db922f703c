#pragma once
// Where the running program lies.

#include <filesystem>

namespace ferrin::relay {

/// The running program's own file, symbolic links resolved. Throws std::system_error.
std::filesystem::path executablePath();

}  // namespace ferrin::relay
