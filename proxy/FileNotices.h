#pragma once
// What a system has to report changes of files.

#include <filesystem>

#include "proxy/Descriptor.h"

namespace ferrin::proxy {

/// Becomes readable when there is a notice. None where there is nothing of the kind.
Descriptor openFileNotices();

/// Asks for a notice of the next change of what `path` names, or of what that name stands for; another one
/// changes nothing. False when there will be none.
bool noticeNextChange(const Descriptor& notices, const std::filesystem::path& path);

/// Takes note of all that has come.
void discardNotices(const Descriptor& notices);

}  // namespace ferrin::proxy
