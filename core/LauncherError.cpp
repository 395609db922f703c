#include "core/LauncherError.h"

#include <filesystem>

namespace ferrin::core {

std::string localizedDescription(const std::exception& error) {
  if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
    const auto& subject = file->path2().empty() ? file->path1() : file->path2();
    return subject.string() + ": " + file->code().message();
  }
  return error.what();
}

}  // namespace ferrin::core
