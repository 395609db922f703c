#include "proxy/LogFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <string>

#include "proxy/system/Reopened.h"

namespace ferrin::proxy {
namespace {

/// The newer half of the file, or of what it may hold if it is over that, from the start of a line.
std::string newerHalf(int descriptor, off_t size) {
  std::string bytes(std::min<std::size_t>(static_cast<std::size_t>(size), LogFile::maxBytes) / 2, '\0');
  const ssize_t count =
      pread(descriptor, bytes.data(), bytes.size(), size - static_cast<off_t>(bytes.size()));
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  const std::size_t lineEnd = bytes.find('\n');
  return lineEnd == std::string::npos ? std::string() : bytes.substr(lineEnd + 1);
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

/// A pipe that nobody reads must not hold up the relay: what does not fit is dropped. This much fits, or
/// nothing does (pipe(7)).
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

void LogFile::write(std::string_view lines) {
  struct stat status {};
  const bool regular = fstat(output, &status) == 0 && S_ISREG(status.st_mode);
  if (regular && static_cast<std::size_t>(status.st_size) + lines.size() > maxBytes)
    dropOlderHalf(status.st_size);
  const auto write = regular ? writeAll : writeWhileTaken;
  if (cut && write(output, "\n") == 0) return;
  const std::size_t written = write(output, lines);
  cut = written > 0 && lines[written - 1] != '\n';
}

void LogFile::dropOlderHalf(off_t size) {
  const int file = reopened(output);
  if (file < 0) return;
  const std::string kept = newerHalf(file, size);
  if (ftruncate(file, 0) == 0) {
    lseek(file, 0, SEEK_SET);
    writeAll(file, kept);
    lseek(output, 0, SEEK_END);
  }
  close(file);
}

}  // namespace ferrin::proxy
