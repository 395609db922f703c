#pragma once
// Everything that lies in a folder, to be compared as a whole.

#include <filesystem>
#include <map>
#include <string>

namespace ferrin::tests {

/// Path below `folder` to mode and content, such as "0600 running\n", of all that is a plain file.
using FileTree = std::map<std::string, std::string>;

FileTree filesBelow(const std::filesystem::path& folder);

}  // namespace ferrin::tests
