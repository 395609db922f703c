#pragma once
// Files that only their owner can read and write, replaced as a whole.

#include <filesystem>
#include <string_view>

namespace ferrin::core {

/// Replaces the file at `url` with `bytes`, readable and writable by its owner alone. A reader sees the old
/// bytes or the new, never a mix; the new file is 0600 from its first byte and on disk before it takes the
/// old one's place. The parent folder must exist. Throws std::system_error of the first step that fails; up
/// to the replacement the old file stays intact and no temporary is left. A temporary
/// that a killed process left is removed by a later write of the same file. Two writers at once: the last to
/// finish wins. Safe from any thread.
void replaceRestricted(const std::filesystem::path& url, std::string_view bytes);

/// replaceRestricted with `text` and one line feed, making missing parent folders first.
void writeRestricted(const std::filesystem::path& url, std::string_view text);

/// Makes `folder` and its missing parents, with the permissions that the umask leaves. Throws
/// std::filesystem::filesystem_error, also where a file of that name exists.
void makeFolders(const std::filesystem::path& folder);

}  // namespace ferrin::core
