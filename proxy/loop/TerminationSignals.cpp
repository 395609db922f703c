#include "proxy/loop/TerminationSignals.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace ferrin::proxy {
namespace {

/// What the signal handler writes to.
int sending = -1;

void handle(int number) {
  const int error = errno;
  const char byte = static_cast<char>(number);
  const ssize_t ignored = write(sending, &byte, 1);
  static_cast<void>(ignored);
  errno = error;
}

void setHandler(void (*handler)(int)) {
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
  }
}

}  // namespace

TerminationSignals::TerminationSignals(EventLoop& home, std::function<void(int)> onArrival)
    : EventHandler(home), arrived(std::move(onArrival)) {
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
  for (const int end : ends) {
    fcntl(end, F_SETFD, FD_CLOEXEC);
    fcntl(end, F_SETFL, O_NONBLOCK);
  }
  receiving.reset(ends[0]);
  sending = ends[1];
  loop.watch(receiving.get(), *this);
  setHandler(handle);
}

TerminationSignals::~TerminationSignals() {
  setHandler(SIG_DFL);
  close(std::exchange(sending, -1));
}

void TerminationSignals::handleReadable() noexcept {
  char byte = 0;
  while (read(receiving.get(), &byte, 1) == 1) arrived(byte);
}

}  // namespace ferrin::proxy
