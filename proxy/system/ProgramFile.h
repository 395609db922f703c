#pragma once

#include <filesystem>
#include <optional>

#include "proxy/system/FileVersion.h"

namespace ferrin::proxy {

/// Where this process's program lies. Empty where the system doesn't tell.
std::filesystem::path programPath();

/// The file that this process was started from. Made when the process starts.
class ProgramFile {
 public:
  ProgramFile() : started(versionOf(path)) {}

  /// Whether the path names another file by now, or none: the program has been upgraded or removed.
  bool isReplaced() const;

  const std::filesystem::path path = programPath();

 private:
  std::optional<FileVersion> started;
};

}  // namespace ferrin::proxy
