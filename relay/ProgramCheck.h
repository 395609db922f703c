#pragma once
// Why a program would not start, found out before it is tried: service managers answer with a number at best.

#include <filesystem>
#include <optional>
#include <string>

namespace ferrin::relay {

/// Nothing when `program` can be executed, as can the interpreter that its first line may name; else one line
/// that names the file at fault and the reason.
std::optional<std::string> reasonNotExecutable(const std::filesystem::path& program);

}  // namespace ferrin::relay
