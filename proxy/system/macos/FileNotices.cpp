#include "proxy/system/FileNotices.h"

#include <fcntl.h>
#include <sys/event.h>

#include <cerrno>
#include <utility>

namespace ferrin::proxy {
namespace {

constexpr unsigned anyChange = NOTE_DELETE | NOTE_WRITE | NOTE_EXTEND | NOTE_ATTRIB | NOTE_RENAME;

/// Open for notices only, of which it gives one; closing it discards that. None with errno set. A link is not
/// opened, as what it leads to can be exchanged in a folder that is not watched.
FileDescriptor watchedOnce(const FileDescriptor& queue, const std::filesystem::path& path) {
  FileDescriptor opened(open(path.c_str(), O_EVTONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!opened.valid()) return opened;
  struct kevent wanted {};
  EV_SET(&wanted, static_cast<uintptr_t>(opened.get()), EVFILT_VNODE, EV_ADD | EV_ONESHOT, anyChange, 0,
         nullptr);
  if (kevent(queue.get(), &wanted, 1, nullptr, 0, nullptr) != 0) opened.reset();
  return opened;
}

}  // namespace

FileNotices::FileNotices() : queue(kqueue()) {
  if (queue.valid()) fcntl(queue.get(), F_SETFD, FD_CLOEXEC);
}

/// The folder is followed if it is a link; the same folder is then watched as long as nothing above changes.
bool FileNotices::noticeNextChange(const std::filesystem::path& path) {
  folder = watchedOnce(queue, path.parent_path() / ".");
  if (!folder.valid()) return false;
  FileDescriptor opened = watchedOnce(queue, path);
  const bool complete = opened.valid() || errno == ENOENT;
  file = std::move(opened);
  return complete;
}

}  // namespace ferrin::proxy
