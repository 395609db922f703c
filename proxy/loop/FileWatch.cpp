#include "proxy/loop/FileWatch.h"

#include "proxy/system/FileNotices.h"

namespace ferrin::proxy {

constexpr std::chrono::milliseconds maxTrust{250};

FileWatch::FileWatch(EventLoop& home, const std::filesystem::path& file)
    : Watched(home), path(std::filesystem::absolute(file)), notices(openFileNotices()) {
  if (notices) loop.watch(notices.get(), *this);
}

bool FileWatch::mayHaveChanged() {
  const auto now = loop.deadlines().now();
  if (!stirred && !loop.mayBeBehind() && now - lastYes < maxTrust) return false;
  lastYes = now;
  stirred = !noticeNextChange(notices, path);  // before the look that follows
  return true;
}

}  // namespace ferrin::proxy
