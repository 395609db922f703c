#include "proxy/system/FileNotices.h"

namespace ferrin::proxy {

// EVFILT_VNODE of kqueue(2) would report changes, but of files that are held open, and of a link only where
// it leads.
Descriptor openFileNotices() { return Descriptor(); }

bool noticeNextChange(const Descriptor&, const std::filesystem::path&) { return false; }

}  // namespace ferrin::proxy
