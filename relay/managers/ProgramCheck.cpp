#include "relay/managers/ProgramCheck.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace ferrin::relay {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> reasonNotAccessible(const fs::path& program) {
  // access(2) alone would accept a folder.
  std::error_code ignored;
  if (fs::is_directory(program, ignored)) return "Is a directory";
  if (access(program.c_str(), X_OK) == 0) return std::nullopt;
  return std::generic_category().message(errno);
}

/// The program that a "#!" line names; empty for a native program.
fs::path interpreterOf(const fs::path& program) {
  std::ifstream file(program, std::ios::binary);
  std::string mark(2, '\0');
  if (!file.read(mark.data(), 2) || mark != "#!") return {};
  std::string line;
  std::getline(file, line);
  const std::size_t begin = std::min(line.find_first_not_of(" \t"), line.size());
  return line.substr(begin, line.find_first_of(" \t", begin) - begin);
}

}  // namespace

std::optional<std::string> reasonNotExecutable(const fs::path& program) {
  if (const auto reason = reasonNotAccessible(program)) return program.string() + ": " + *reason;
  const fs::path interpreter = interpreterOf(program);
  if (interpreter.empty()) return std::nullopt;
  if (const auto reason = reasonNotAccessible(interpreter)) {
    return program.string() + ": its interpreter " + interpreter.string() + ": " + *reason;
  }
  return std::nullopt;
}

}  // namespace ferrin::relay
