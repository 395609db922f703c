#pragma once
// Files that come with the application, found relative to the running program, installed or in a build tree.

#include <filesystem>

namespace ferrin::relay {

/// The running program's own file. Throws std::system_error.
std::filesystem::path executablePath();

/// The relay script that comes with the program at `executable`: in the bundle's Resources, else in share/ of
/// its prefix. Empty when neither has one.
std::filesystem::path proxyResource(const std::filesystem::path& executable);

/// The relay program that comes with the script at `resource`: in the bundle's Helpers, else in libexec/ of
/// its prefix. Empty when neither has one.
std::filesystem::path relayProgram(const std::filesystem::path& resource);

}  // namespace ferrin::relay
