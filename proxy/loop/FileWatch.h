#pragma once
// Spares asking the system about a file that hasn't changed.

#include <filesystem>

#include "proxy/loop/EventLoop.h"
#include "proxy/system/Descriptor.h"

namespace ferrin::proxy {

/// Watches what `file` names, which need not exist. Where that can't be watched, the answer is always that it
/// may have changed. Wakes the event loop at most twice between two questions. On the loop's thread.
class FileWatch : private Watched {
 public:
  FileWatch(EventLoop& home, const std::filesystem::path& file);

  /// Whether it may have changed since this was last asked: true if it had when this turn of the event loop
  /// began. What no watch reports, another computer's writing, say, is true a quarter of a second later.
  bool mayHaveChanged();

 private:
  void noted(const Change&) override { stirred = true; }
  void goOnReading() override {}
  void goOnWriting() override {}

  std::filesystem::path path;
  Descriptor notices;
  bool stirred = true;
  Clock::time_point lastYes;
};

}  // namespace ferrin::proxy
