#pragma once
// The files that come with the application, relative to the running program, in an install and in a build
// tree.

#include <filesystem>

namespace ferrin::relay {

/// The relay script that belongs to the program at `executable`: from the bundle's Resources, else from
/// share/ of its prefix. Empty when there is none.
std::filesystem::path proxyResource(const std::filesystem::path& executable);

/// The relay program that belongs to the script at `resource`: from the bundle's Helpers, else from libexec/
/// of its prefix. Empty when there is none.
std::filesystem::path relayProgram(const std::filesystem::path& resource);

}  // namespace ferrin::relay
