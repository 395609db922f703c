#pragma once
// A file descriptor with an owner, and the exception for a failed system call.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace ferrin::core {

/// Closes its descriptor in the destructor; a negative one means none. An error of close(2) is dropped: where
/// it matters, release() the descriptor and close it yourself.
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
  /// Gives up ownership; this object holds none afterwards.
  int release() noexcept { return std::exchange(descriptor, -1); }
  /// Closes the current descriptor and owns `opened` instead.
  void reset(int opened = -1) noexcept {
    if (descriptor >= 0) close(descriptor);
    descriptor = opened;
  }

 private:
  int descriptor;
};

/// Throws std::system_error for the current errno, with `url` in its text: "PATH: reason".
[[noreturn]] inline void throwErrno(const std::filesystem::path& url) {
  throw std::system_error(errno, std::generic_category(), url.string());
}

}  // namespace ferrin::core
