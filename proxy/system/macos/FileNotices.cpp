#include "proxy/system/FileNotices.h"

namespace ferrin::proxy {

// EVFILT_VNODE of kqueue(2) would report changes, but of files that are held open, and of a link only where
// it leads.
FileDescriptor openFileNotices() { return FileDescriptor(); }

bool noticeNextChange(const FileDescriptor&, const std::filesystem::path&) { return false; }

}  // namespace ferrin::proxy
