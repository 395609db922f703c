#include "core/TextFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "core/FileDescriptor.h"
#include "core/Text.h"

namespace ferrin::core {

std::string readBytes(const std::filesystem::path& url) {
  const FileDescriptor file(open(url.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.valid()) throwErrno(url);
  std::string bytes;
  std::array<char, 16384> block{};
  for (;;) {
    const ssize_t count = read(file.get(), block.data(), block.size());
    if (count == 0) return bytes;
    if (count > 0) {
      bytes.append(block.data(), static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      throwErrno(url);
    }
  }
}

std::string readText(const std::filesystem::path& url) {
  std::string text = readBytes(url);
  if (!isUTF8(text)) {
    throw std::system_error(std::make_error_code(std::errc::illegal_byte_sequence),
                            url.string() + ": not UTF-8 text");
  }
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";  // some editors begin a file with it
  if (text.starts_with(byteOrderMark)) text.erase(0, byteOrderMark.size());
  return text;
}

std::string readSavedText(const std::filesystem::path& current, const std::filesystem::path& legacy) {
  for (const auto& url : {current, legacy}) {
    try {
      return readText(url);
    } catch (const std::system_error&) {
      // Missing, unreadable or no text: try the next name.
    }
  }
  return "";
}

}  // namespace ferrin::core
