#include "proxy/loop/FileWatch.h"

namespace ferrin::proxy {

/// For so long the lack of a notice counts as "not changed".
constexpr std::chrono::milliseconds maxTrust{250};

FileWatch::FileWatch(EventLoop& home, const std::filesystem::path& file, std::function<void()> onNotice)
    : EventHandler(home), path(std::filesystem::absolute(file)), notify(std::move(onNotice)) {
  if (notices.descriptor() >= 0) loop.watch(notices.descriptor(), *this, Interest::reading);
}

bool FileWatch::mayHaveChanged() {
  const auto now = loop.timers().now();
  if (!noticed && !loop.mayBeOutOfDate() && now - lastYes < maxTrust) return false;
  lastYes = now;
  noticed = true;                             // in case the next line throws
  noticed = !notices.noticeNextChange(path);  // armed before the caller looks at the file
  return true;
}

}  // namespace ferrin::proxy
