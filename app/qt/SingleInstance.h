#pragma once
// Keeping one running application per user.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "core/FileDescriptor.h"

namespace ferrin::qt {

/// Makes its holder the one application: a lock on a file, and a socket that later launches connect to. The
/// system releases both when the process ends, also after a crash.
class SingleInstance {
 public:
  /// Takes the lock in `folder`, which is made with mode 0700. When another process holds it, sends `message`
  /// to that process and returns no value after it has come to the front. Blocks for up to 15 s. Throws
  /// std::system_error when others can use the folder, or when the other process does not answer.
  static std::optional<SingleInstance> take(const std::filesystem::path& folder, const std::string& message);

  /// Readable when a later launch waits for answer().
  int descriptor() const { return listener.get(); }

  /// Accepts one waiting launch, calls `comeForward` with its message, and confirms. Processes of other users
  /// are disconnected without a call. Blocks for up to a second while the message arrives.
  void answer(const std::function<void(const std::string& message)>& comeForward) const;

 private:
  SingleInstance(core::FileDescriptor lock, core::FileDescriptor listener);

  core::FileDescriptor lock;
  core::FileDescriptor listener;
};

/// The folder for `take`, the same for all sessions of this user: in XDG_RUNTIME_DIR, else in ~/.cache.
std::filesystem::path instanceFolder(const std::filesystem::path& home);

}  // namespace ferrin::qt
