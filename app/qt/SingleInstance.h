#pragma once
// One running application per user.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "core/FileDescriptor.h"

namespace ferrin::qt {

/// The place of the one application. It is free again as soon as its process has ended, however that came.
class SingleInstance {
 public:
  /// Takes the place in `folder`, which is made for its owner alone. Where another process has it, that one
  /// is told `message` and asked to come forward, and nothing is returned once it has. Throws
  /// std::system_error when the folder is not safe to use or the other process does not answer.
  static std::optional<SingleInstance> take(const std::filesystem::path& folder, const std::string& message);

  /// Readable when somebody waits to be answered.
  int descriptor() const { return listener.get(); }

  /// Calls `comeForward` for a later launch that waits, with its message; processes of other users are turned
  /// away.
  void answer(const std::function<void(const std::string& message)>& comeForward) const;

 private:
  SingleInstance(core::FileDescriptor lock, core::FileDescriptor listener);

  core::FileDescriptor lock;
  core::FileDescriptor listener;
};

/// Where this user's sessions meet.
std::filesystem::path instanceFolder(const std::filesystem::path& home);

}  // namespace ferrin::qt
