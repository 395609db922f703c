#include "proxy/LogFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>

#include "proxy/system/FileDescriptor.h"
#include "proxy/system/Reopened.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t blockSize = 65536;

/// The offset at which the newer half of the file begins, at the start of a line; `size` when there is none.
off_t newerHalf(int file, off_t size) {
  const auto most = static_cast<off_t>(LogFile::maxBytes / 2);
  std::array<char, blockSize> block;
  off_t at = size - std::min(size / 2, most);
  for (ssize_t count = 0; (count = pread(file, block.data(), block.size(), at)) > 0; at += count) {
    const std::string_view bytes(block.data(), static_cast<std::size_t>(count));
    const std::size_t lineEnd = bytes.find('\n');
    if (lineEnd != std::string_view::npos) return at + static_cast<off_t>(lineEnd) + 1;
  }
  return size;
}

/// Moves everything from offset `from` on to the front of the file, block by block.
void moveToFront(int file, off_t from) {
  std::array<char, blockSize> block;
  off_t to = 0;
  for (ssize_t count = 0; (count = pread(file, block.data(), block.size(), from)) > 0; from += count) {
    if (pwrite(file, block.data(), static_cast<std::size_t>(count), to) != count) break;
    to += count;
  }
  [[maybe_unused]] const int ignored = ftruncate(file, to);  // what can't be cut stays longer
}

/// How many bytes could be written.
std::size_t writeAll(int descriptor, std::string_view bytes) {
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
    if (count > 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR) {
      break;
    }
  }
  return written;
}

/// A full pipe must not hold up the relay: what it does not take is dropped. Up to PIPE_BUF bytes are taken
/// whole or not at all (pipe(7)).
std::size_t writeWhileTaken(int descriptor, std::string_view bytes) {
  std::size_t written = 0;
  pollfd polled{descriptor, POLLOUT, 0};
  while (written < bytes.size() && poll(&polled, 1, 0) == 1 && (polled.revents & POLLOUT) != 0) {
    const std::size_t count = writeAll(descriptor, bytes.substr(written, PIPE_BUF));
    if (count == 0) break;
    written += count;
  }
  return written;
}

}  // namespace

void LogFile::write(std::string_view lines) noexcept {
  struct stat status {};
  const bool regular = fstat(output, &status) == 0 && S_ISREG(status.st_mode);
  if (regular && static_cast<std::size_t>(status.st_size) + lines.size() > maxBytes)
    dropOlderHalf(status.st_size);
  const auto write = regular ? writeAll : writeWhileTaken;
  if (cut && write(output, "\n") == 0) return;
  const std::size_t written = write(output, lines);
  cut = written > 0 && lines[written - 1] != '\n';
}

void LogFile::dropOlderHalf(off_t size) noexcept {
  const FileDescriptor file(reopened(output));
  if (!file.valid()) return;
  moveToFront(file.get(), newerHalf(file.get(), size));
  lseek(output, 0, SEEK_END);
}

}  // namespace ferrin::proxy
