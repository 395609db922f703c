#include "proxy/system/FileVersion.h"

#include <sys/stat.h>

#include <algorithm>

#include "proxy/system/FileTimes.h"

namespace ferrin::proxy {

std::optional<FileVersion> versionOf(const std::filesystem::path& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return std::nullopt;
  return FileVersion{status.st_dev, status.st_ino, status.st_size, modified(status), changed(status)};
}

bool isSettled(const FileVersion& version) {
  constexpr std::chrono::seconds settlingTime{2};  // the coarsest time stamps of file systems in use: FAT's
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return now - std::max(version.modified, version.changed) > settlingTime;
}

}  // namespace ferrin::proxy
