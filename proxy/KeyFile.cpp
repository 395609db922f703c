#include "proxy/KeyFile.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <system_error>

namespace ferrin::proxy {
namespace {

constexpr std::size_t maxKeyBytes = std::size_t{16} * 1024;

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

/// Wipes a block when its scope is left, also by an exception.
class Wiped {
 public:
  Wiped(char* block, std::size_t size) : bytes(block, size) {}
  Wiped(const Wiped&) = delete;
  Wiped& operator=(const Wiped&) = delete;
  ~Wiped() { wipe(bytes.data(), bytes.size()); }

 private:
  const std::span<char> bytes;
};

}  // namespace

std::string_view KeyFile::current() {
  const auto now = versionOf(file);
  if (!now) {
    forget();
    trouble = file.string() + ": " + std::generic_category().message(errno);
  } else if (now != held) {
    read(*now);
  }
  return key;
}

void KeyFile::read(const FileVersion& now) {
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
  const Wiped afterwards(content.data(), static_cast<std::size_t>(count));
  use({content.data(), static_cast<std::size_t>(count)});
  if (isSettled(now)) held = now;
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
  held.reset();
}

}  // namespace ferrin::proxy
