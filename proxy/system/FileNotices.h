#pragma once
// What a system has to report changes of files.

#include <filesystem>

#include "proxy/system/FileDescriptor.h"

namespace ferrin::proxy {

/// Becomes readable when there is a notice. None where there is nothing of the kind.
FileDescriptor openFileNotices();

/// Drops the notices that have come and asks for one of the next change of what `path` names, or of what that
/// name stands for; another one changes nothing. False when there will be none.
bool noticeNextChange(const FileDescriptor& notices, const std::filesystem::path& path);

}  // namespace ferrin::proxy
