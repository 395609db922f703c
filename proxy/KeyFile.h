#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "proxy/system/FileVersion.h"
#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

/// The API key in its file. Keeps one copy in memory, which is wiped when the key changes and at the end.
class KeyFile {
 public:
  explicit KeyFile(std::filesystem::path path) : file(std::move(path)) {}
  KeyFile(const KeyFile&) = delete;
  KeyFile& operator=(const KeyFile&) = delete;
  ~KeyFile() { forget(); }

  /// The key as the file holds it now, without white space around it and without a byte-order mark. Reads the
  /// file only if it has changed. Empty when there is no usable key: problem() says why. Valid until the next
  /// call. Throws std::bad_alloc.
  std::string_view current();
  /// Names the file and the reason, never what it holds.
  const std::string& problem() const { return trouble; }

 private:
  void read(const FileVersion& now);
  void use(std::string_view content);
  void forget();

  std::filesystem::path file;
  SecretString key;
  std::string trouble;
  std::optional<FileVersion> held;  ///< what was read, if a later write shows in it
};

}  // namespace ferrin::proxy
