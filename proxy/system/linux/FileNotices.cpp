#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "proxy/system/FileNotices.h"

namespace ferrin::proxy {
namespace {

/// Each reports once (inotify(7)), so that a busy folder does not keep the relay awake.
bool watchOnce(const FileDescriptor& notices, const std::filesystem::path& path, std::uint32_t events) {
  return inotify_add_watch(notices.get(), path.c_str(), events | IN_ONESHOT) >= 0;
}

}  // namespace

FileNotices::FileNotices() : queue(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

/// The name in its folder, and what it stands for, which may lie elsewhere if it is a link.
bool FileNotices::noticeNextChange(const std::filesystem::path& path) {
  std::array<char, 4096> ignored;
  while (read(queue.get(), ignored.data(), ignored.size()) > 0) continue;
  return watchOnce(queue, path.parent_path(), IN_CREATE | IN_DELETE | IN_MOVE | IN_MOVE_SELF) &&
         (watchOnce(queue, path, IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF) || errno == ENOENT);
}

}  // namespace ferrin::proxy
