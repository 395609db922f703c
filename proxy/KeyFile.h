#pragma once
// The API key, read from its file when it is needed and again whenever the file has changed.

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "proxy/system/SecretMemory.h"

namespace ferrin::proxy {

class KeyFile {
 public:
  explicit KeyFile(std::filesystem::path path) : file(std::move(path)) {}
  KeyFile(const KeyFile&) = delete;
  KeyFile& operator=(const KeyFile&) = delete;
  ~KeyFile() { forget(); }

  /// The key as the file holds it now, without white space around it; valid until the next call. Empty when
  /// there is none that can be used: problem() says why.
  std::string_view current();
  /// Names the file and the reason, never what it holds.
  const std::string& problem() const { return trouble; }

 private:
  bool unchanged(const struct stat& now) const;
  void read(const struct stat& now);
  void use(std::string_view content);
  void forget();

  std::filesystem::path file;
  SecretString key;
  std::string trouble;
  struct stat seen {};
  bool settled = false;  ///< what was read is older than the clock's grain, so a later write shows in `seen`
};

}  // namespace ferrin::proxy
