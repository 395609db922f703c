#pragma once

#include <unistd.h>

#include <utility>

namespace ferrin::proxy {

/// Owns a file descriptor and closes it when destroyed. Negative means none. Assigning closes the old one
/// first.
class FileDescriptor {
 public:
  explicit FileDescriptor(int opened = -1) noexcept : descriptor(opened) {}
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { reset(); }

  bool valid() const noexcept { return descriptor >= 0; }
  int get() const noexcept { return descriptor; }
  int release() noexcept { return std::exchange(descriptor, -1); }
  void reset(int opened = -1) noexcept {
    if (descriptor >= 0) close(descriptor);
    descriptor = opened;
  }

 private:
  int descriptor;
};

}  // namespace ferrin::proxy
