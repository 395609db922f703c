#pragma once
// Reading whole small files: bytes, UTF-8 text, and saved values with a fallback to their older name.

#include <filesystem>
#include <string>

namespace ferrin::core {

/// The file's bytes. Throws std::system_error ("PATH: reason"), for a folder too. Blocks; safe from any
/// thread, as are the others.
std::string readBytes(const std::filesystem::path& url);

/// The file's text, without a byte-order mark in front of it. Throws as readBytes does, and std::system_error
/// (illegal_byte_sequence) for ill-formed UTF-8.
std::string readText(const std::filesystem::path& url);

/// The text of `current`, or, only when that can't be read, of `legacy`; empty when neither can be read. An
/// empty `current` counts as read. No failure of a file is thrown.
std::string readSavedText(const std::filesystem::path& current, const std::filesystem::path& legacy);

}  // namespace ferrin::core
