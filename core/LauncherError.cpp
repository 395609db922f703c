#include "core/LauncherError.h"

#include <filesystem>
#include <system_error>

namespace ferrin::core {
namespace {

/// The file's name of an absolute path; any other text as it is.
std::string nameIn(const std::string& subject) {
  return subject.starts_with('/') ? subject.substr(subject.rfind('/') + 1) : subject;
}

}  // namespace

std::string localizedDescription(const std::exception& error) {
  if (const auto* file = dynamic_cast<const std::filesystem::filesystem_error*>(&error)) {
    const auto& subject = file->path2().empty() ? file->path1() : file->path2();
    return subject.filename().string() + ": " + file->code().message();
  }
  if (const auto* system = dynamic_cast<const std::system_error*>(&error)) {
    const std::string text = system->what();
    const std::string reason = ": " + system->code().message();
    if (text.ends_with(reason)) return nameIn(text.substr(0, text.size() - reason.size())) + reason;
  }
  return error.what();
}

}  // namespace ferrin::core
