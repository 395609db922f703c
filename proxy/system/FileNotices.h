#pragma once
// What a system has to report changes of files: inotify(7), or kqueue(2)'s EVFILT_VNODE.

#include <filesystem>

#include "proxy/system/FileDescriptor.h"

namespace ferrin::proxy {

class FileNotices {
 public:
  FileNotices();

  /// Becomes readable when there is a notice; it can't be written. Negative when the system had none left.
  int descriptor() const { return queue.get(); }
  /// Discards the notices that have come and asks for one of the next change of what `path` names, or of what
  /// that name stands for. False when there will be none, or not of each change.
  bool noticeNextChange(const std::filesystem::path& path);

 private:
  FileDescriptor queue;
  FileDescriptor folder, file;  ///< held open where the system reports changes of open files alone
};

}  // namespace ferrin::proxy
