#include "proxy/LogFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

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

}  // namespace

void LogFile::write(std::string_view lines) {
  makeRoomFor(lines.size());
  if (cut && writeAll(output, "\n") == 0) return;
  const std::size_t written = writeAll(output, lines);
  cut = written > 0 && lines[written - 1] != '\n';
}

void LogFile::makeRoomFor(std::size_t bytes) {
  struct stat status {};
  if (fstat(output, &status) != 0 || !S_ISREG(status.st_mode)) return;
  if (static_cast<std::size_t>(status.st_size) + bytes <= maxBytes) return;
  const int file = reopened(output);
  if (file < 0) return;
  const std::string kept = newerHalf(file, status.st_size);
  if (ftruncate(file, 0) == 0) {
    lseek(file, 0, SEEK_SET);
    writeAll(file, kept);
    lseek(output, 0, SEEK_END);
  }
  close(file);
}

}  // namespace ferrin::proxy
