#include "proxy/KeyFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "proxy/system/FileTimes.h"

namespace ferrin::proxy {
namespace {

constexpr std::size_t maxKeyBytes = std::size_t{16} * 1024;
/// A file changed more recently than this is read every time: a second write may carry the same time stamp.
constexpr std::chrono::seconds settlingTime{2};

std::string_view withoutWhiteSpace(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n\v\f";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// What would end or garble a header field.
bool fitsAField(std::string_view key) {
  return std::none_of(key.begin(), key.end(), [](char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return value < 0x20 || value == 0x7F;
  });
}

}  // namespace

std::string_view KeyFile::current() {
  struct stat now {};
  if (stat(file.c_str(), &now) != 0) {
    forget();
    trouble = file.string() + ": " + std::generic_category().message(errno);
  } else if (!unchanged(now)) {
    read(now);
  }
  return key;
}

bool KeyFile::unchanged(const struct stat& now) const {
  return settled && now.st_dev == seen.st_dev && now.st_ino == seen.st_ino && now.st_size == seen.st_size &&
         modified(now) == modified(seen) && changed(now) == changed(seen);
}

void KeyFile::read(const struct stat& now) {
  forget();
  const int descriptor =
      open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);  // a named pipe must not block
  std::array<char, maxKeyBytes + 1> content;
  const ssize_t count = descriptor < 0 ? -1 : ::read(descriptor, content.data(), content.size());
  const int error = errno;
  if (descriptor >= 0) close(descriptor);
  if (count < 0) {
    trouble = file.string() + ": " + std::generic_category().message(error);
    return;
  }
  use({content.data(), static_cast<std::size_t>(count)});
  wipe(content.data(), static_cast<std::size_t>(count));
  seen = now;
  const auto age =
      std::chrono::system_clock::now().time_since_epoch() - std::max(modified(now), changed(now));
  settled = age > settlingTime;
}

void KeyFile::use(std::string_view content) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";  // some editors begin a file with it
  const bool marked = content.starts_with(byteOrderMark);
  const std::string_view trimmed = withoutWhiteSpace(content.substr(marked ? byteOrderMark.size() : 0));
  if (trimmed.empty()) {
    trouble = file.string() + ": there is no key in it";
  } else if (content.size() > maxKeyBytes || !fitsAField(trimmed)) {
    trouble = file.string() + ": not a key: it is too long or has a line break or control character inside";
  } else {
    key.assign(trimmed);
    trouble.clear();
  }
}

void KeyFile::forget() {
  key.clear();
  settled = false;
}

}  // namespace ferrin::proxy
