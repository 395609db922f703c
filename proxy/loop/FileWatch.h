#pragma once

#include <filesystem>
#include <functional>

#include "proxy/loop/EventLoop.h"
#include "proxy/system/FileNotices.h"

namespace ferrin::proxy {

/// Knows, usually without a system call, that a file has not changed. On the loop's thread.
class FileWatch : private EventHandler {
 public:
  /// Watches what `file` names, which need not exist. `onNotice`, which must not throw, is called once when
  /// it changes after mayHaveChanged() was called. Throws std::system_error when the loop can't watch it.
  FileWatch(EventLoop& home, const std::filesystem::path& file, std::function<void()> onNotice = nullptr);

  /// Whether the file may have changed since the last call. True if it had changed when this turn of the
  /// event loop began; always true where the system gives no notices. A change that no notice reports, by
  /// another computer for example, counts after a quarter of a second. Wakes the event loop at most twice
  /// between two calls. Throws std::bad_alloc; the next call then returns true.
  bool mayHaveChanged();

 private:
  void recordReadiness(const Readiness&) noexcept override { noticed = true; }
  void handleReadable() noexcept override {
    if (notify) notify();
  }
  void handleWritable() noexcept override {}

  std::filesystem::path path;
  std::function<void()> notify;
  FileNotices notices;
  bool noticed = true;
  Clock::time_point lastYes;
};

}  // namespace ferrin::proxy
