#include "proxy/loop/FileWatch.h"

#include "proxy/system/FileNotices.h"

namespace ferrin::proxy {

constexpr std::chrono::milliseconds maxTrust{250};

FileWatch::FileWatch(EventLoop& home, const std::filesystem::path& file, std::function<void()> onNotice)
    : EventHandler(home),
      path(std::filesystem::absolute(file)),
      notify(std::move(onNotice)),
      notices(openFileNotices()) {
  if (notices.valid()) loop.watch(notices.get(), *this);
}

bool FileWatch::mayHaveChanged() {
  const auto now = loop.timers().now();
  if (!noticed && !loop.mayBeOutOfDate() && now - lastYes < maxTrust) return false;
  lastYes = now;
  noticed = true;
  noticed = !noticeNextChange(notices, path);  // armed before the caller looks at the file
  return true;
}

}  // namespace ferrin::proxy
