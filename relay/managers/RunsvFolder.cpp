#include "relay/managers/RunsvFolder.h"

#include <fcntl.h>
#include <unistd.h>

#include <system_error>

#include "core/FileDescriptor.h"
#include "core/TextFile.h"

namespace ferrin::relay {
namespace {

/// A named pipe, for writing; none unless a process reads from it (fifo(7)).
core::FileDescriptor openPipeWithReader(const std::filesystem::path& pipe) {
  return core::FileDescriptor(open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
}

}  // namespace

bool RunsvFolder::isSupervised() const { return openPipeWithReader(folder / "supervise" / "ok").valid(); }

bool RunsvFolder::order(char letter) const {
  const core::FileDescriptor control = openPipeWithReader(folder / "supervise" / "control");
  return control.valid() && write(control.get(), &letter, 1) == 1;
}

std::string RunsvFolder::process() const { return content("pid"); }

bool RunsvFolder::isRunning() const { return isSupervised() && content("stat").starts_with("run"); }

std::string RunsvFolder::content(const char* name) const {
  try {
    return core::readBytes(folder / "supervise" / name);
  } catch (const std::system_error&) {
    return "";
  }
}

}  // namespace ferrin::relay
