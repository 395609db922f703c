#include "tests/support/FileTree.h"

#include <array>
#include <cstdio>

#include "tests/support/TemporaryFolder.h"

namespace ferrin::tests {

FileTree filesBelow(const std::filesystem::path& folder) {
  FileTree tree;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%04o ", static_cast<unsigned>(modeOf(entry.path())));
    tree[entry.path().lexically_relative(folder)] = mode.data() + contentOf(entry.path());
  }
  return tree;
}

}  // namespace ferrin::tests
