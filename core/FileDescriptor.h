#pragma once
// An owned file descriptor, and the exception of a system call that failed.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace ferrin::core {

/// Closes its descriptor when it goes. Negative means none.
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

/// Throws std::system_error for the current errno: "PATH: reason".
[[noreturn]] inline void throwErrno(const std::filesystem::path& url) {
  throw std::system_error(errno, std::generic_category(), url.string());
}

}  // namespace ferrin::core
