#include "proxy/system/ProgramFile.h"

#include <cerrno>

namespace ferrin::proxy {

bool ProgramFile::isReplaced() const {
  if (!started) return false;
  const auto now = versionOf(path);
  if (!now) return errno == ENOENT || errno == ENOTDIR;
  return now->device != started->device || now->number != started->number;
}

}  // namespace ferrin::proxy
