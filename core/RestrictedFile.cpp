#include "core/RestrictedFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "core/FileDescriptor.h"

namespace ferrin::core {
namespace {

namespace fs = std::filesystem;

/// A write takes milliseconds: the process that made a temporary this old was killed.
constexpr std::chrono::minutes abandonedAfter{10};

/// What mkostemp(3) replaces in the name of a temporary.
constexpr std::string_view placeholder = "XXXXXX";

std::string temporaryPrefix(const fs::path& url) { return "." + url.filename().string() + ".new-"; }

/// Whether `file` has the exact form of a temporary of ours.
bool isTemporary(const fs::directory_entry& file, std::string_view prefix) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  const std::string name = file.path().filename().string();
  std::error_code unknown;
  return name.size() == prefix.size() + placeholder.size() && name.starts_with(prefix) &&
         name.find_first_not_of(alphabet, prefix.size()) == std::string::npos &&
         fs::is_regular_file(file.symlink_status(unknown));
}

/// Best effort: the next write tries again what fails here.
void removeAbandonedTemporaries(const fs::path& url) {
  std::error_code ignored;
  const std::string prefix = temporaryPrefix(url);
  const auto oldest = fs::file_time_type::clock::now() - abandonedAfter;
  for (fs::directory_iterator entry(url.parent_path(), ignored), end; !ignored && entry != end;
       entry.increment(ignored)) {
    if (!isTemporary(*entry, prefix)) continue;
    std::error_code unknownAge;
    if (fs::last_write_time(entry->path(), unknownAge) < oldest && !unknownAge)
      fs::remove(entry->path(), unknownAge);
  }
}

/// The new content in a file beside its target; the destructor removes it unless it has replaced the target.
class Temporary {
 public:
  explicit Temporary(const fs::path& url)
      : target(url), name((url.parent_path() / temporaryPrefix(url)).string().append(placeholder)) {
    file.reset(mkostemp(name.data(), O_CLOEXEC));  // 0600 from the start
    if (!file.valid()) throwErrno(target);
  }
  Temporary(const Temporary&) = delete;
  Temporary& operator=(const Temporary&) = delete;
  ~Temporary() {
    if (!replaced) unlink(name.c_str());
  }

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::write(file.get(), bytes.data(), bytes.size());
      if (count >= 0) {
        bytes.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        throwErrno(target);
      }
    }
    // Without it, a power cut after the rename could leave an empty file.
    if (fsync(file.get()) != 0) throwErrno(target);
    if (close(file.release()) != 0) throwErrno(target);
  }

  void takePlaceOfTarget() {
    if (rename(name.c_str(), target.c_str()) != 0) throwErrno(target);
    replaced = true;
  }

 private:
  const fs::path& target;
  std::string name;
  FileDescriptor file;
  bool replaced = false;
};

/// Makes the rename survive a power cut. Best effort: the file is replaced even where this fails.
void syncFolder(const fs::path& folder) {
  const FileDescriptor descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor.valid()) fsync(descriptor.get());
}

}  // namespace

void replaceRestricted(const fs::path& url, std::string_view bytes) {
  removeAbandonedTemporaries(url);
  Temporary temporary(url);
  temporary.write(bytes);
  temporary.takePlaceOfTarget();
  // The umask may have removed bits of the owner's own.
  if (chmod(url.c_str(), S_IRUSR | S_IWUSR) != 0) throwErrno(url);
  syncFolder(url.parent_path());
}

void writeRestricted(const fs::path& url, std::string_view text) {
  makeFolders(url.parent_path());
  replaceRestricted(url, std::string(text) + '\n');
}

void makeFolders(const fs::path& folder) {
  fs::create_directories(folder);
  if (!fs::is_directory(folder)) {
    throw fs::filesystem_error("create folder", folder, std::make_error_code(std::errc::not_a_directory));
  }
}

}  // namespace ferrin::core
