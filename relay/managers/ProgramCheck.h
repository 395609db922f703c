#pragma once
// Why a program can't be started. Asked before a service manager starts it, whose own failure gives no
// reason.

#include <filesystem>
#include <optional>
#include <string>

namespace ferrin::relay {

/// No value when `program` can be executed, and the interpreter, too, that a "#!" line names; else one line
/// with the file at fault and the reason. Never throws.
std::optional<std::string> reasonNotExecutable(const std::filesystem::path& program);

}  // namespace ferrin::relay
