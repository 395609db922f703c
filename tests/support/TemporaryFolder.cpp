#include "tests/support/TemporaryFolder.h"

#include <stdlib.h>
#include <unistd.h>

#include <boost/algorithm/string/replace.hpp>
#include <boost/format.hpp>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace ferrin::tests {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
  std::string name = (fs::temp_directory_path() / "ferrin-test-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder: " + name);
  folder = name;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  for (fs::recursive_directory_iterator entry(folder, ignored), end; entry != end; entry.increment(ignored)) {
    if (entry->is_directory(ignored)) fs::permissions(entry->path(), fs::perms::owner_all, ignored);
  }
  fs::remove_all(folder, ignored);
}

std::string contentOf(const fs::path& file) {
  std::error_code ignored;
  std::ifstream stream(file, std::ios::binary);
  if (!stream || fs::is_directory(file, ignored)) return "<none>";
  return {std::istreambuf_iterator<char>(stream), {}};
}

void put(const fs::path& file, std::string_view content) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}

void putProgram(const fs::path& file, std::string_view content) {
  put(file, content);
  fs::permissions(file, fs::perms::owner_all);
}

FileTree filesBelow(const fs::path& folder) {
  FileTree tree;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    tree[entry.path().lexically_relative(folder)] =
        (boost::format("%04o %s") % static_cast<unsigned>(entry.status().permissions() & fs::perms::all) %
         contentOf(entry))
            .str();
  }
  return tree;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  return boost::replace_all_copy(std::move(text), from, to);
}

AsOrdinaryUser::AsOrdinaryUser() : before(geteuid()) {
  constexpr uid_t nobody = 65534;
  if (before == 0 && seteuid(nobody) != 0) throw std::runtime_error("can't become another user");
}

AsOrdinaryUser::~AsOrdinaryUser() {
  if (seteuid(before) != 0) std::abort();
}

}  // namespace ferrin::tests
