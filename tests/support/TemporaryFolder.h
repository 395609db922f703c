#pragma once
// A private folder for one test, gone with it, and small helpers to look at files.

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>

namespace ferrin::tests {

class TemporaryFolder {
 public:
  TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  const std::filesystem::path& path() const { return folder; }
  std::filesystem::path operator/(std::string_view name) const { return folder / name; }

 private:
  std::filesystem::path folder;
};

/// The whole file as bytes; "<none>" when there is none, so that a comparison shows it.
std::string contentOf(const std::filesystem::path& file);
/// Writes `content` as it is, making the folders above.
void put(const std::filesystem::path& file, std::string_view content);
/// The same, and lets its owner execute it.
void putProgram(const std::filesystem::path& file, std::string_view content);

/// Path below `folder` to mode and content, such as "0600 running\n", of all that is a plain file.
using FileTree = std::map<std::string, std::string>;
FileTree filesBelow(const std::filesystem::path& folder);
/// `text` with `to` wherever `from` was.
std::string replaced(std::string text, const std::string& from, const std::string& to);

/// Makes this process one that permission bits bind, as root isn't, for as long as the object lives. Folders
/// that the test is to write into are made after it.
class AsOrdinaryUser {
 public:
  AsOrdinaryUser();
  AsOrdinaryUser(const AsOrdinaryUser&) = delete;
  ~AsOrdinaryUser();

 private:
  uid_t before;
};

}  // namespace ferrin::tests
