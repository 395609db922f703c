#pragma once
// Reading whole small files: bytes, UTF-8 text, and saved values that may still have their older name.

#include <filesystem>
#include <string>

namespace ferrin::core {

/// The file's bytes. Throws std::system_error naming the file and the system's reason; a folder is refused
/// too.
std::string readBytes(const std::filesystem::path& url);

/// The file's text. Throws as readBytes does, and std::system_error (illegal_byte_sequence) for ill-formed
/// UTF-8.
std::string readText(const std::filesystem::path& url);

/// A saved value under its current name, or, only when that can't be read, under its legacy name; empty when
/// neither can be read. A current file that is empty is used as it is. Never throws for a file's sake.
std::string readSavedText(const std::filesystem::path& current, const std::filesystem::path& legacy);

}  // namespace ferrin::core
