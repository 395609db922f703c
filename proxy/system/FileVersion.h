#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>

namespace ferrin::proxy {

/// Tells one content of a file, or of a folder, from another without reading it.
struct FileVersion {
  dev_t device;
  ino_t number;
  off_t bytes;
  std::chrono::nanoseconds modified;  ///< when the content was last written, since the epoch
  std::chrono::nanoseconds changed;   ///< when anything about the file last changed, since the epoch

  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

/// Of what `file` names, be it through a link. Empty when there is none or it can't be asked; errno says why.
std::optional<FileVersion> versionOf(const std::filesystem::path& file);

/// False for a file that changed so recently that another change may leave it with the same version.
bool isSettled(const FileVersion& version);

}  // namespace ferrin::proxy
