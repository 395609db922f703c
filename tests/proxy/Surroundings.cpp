// Loaded into a program before the system's libraries, to show it names and clocks of the test's own.
// Looking up any name finds the addresses in the file that FERRIN_ADDRESSES names, one a line, at
// that moment, and never ends while that file is empty, as where the name server can't be reached; the time
// of day is back by the seconds in the file FERRIN_CLOCK; all other time passes FERRIN_SPEED times as fast. A
// line such as "socket 3" in the file FERRIN_FAILING makes the third call from now fail, as in a shortage,
// and is emptied then.

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <new>
#include <string>
#include <string_view>

namespace {

constexpr long nanoseconds = 1'000'000'000;

template <typename Function>
Function* systems(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

long speed() {
  const char* times = std::getenv("FERRIN_SPEED");
  return times == nullptr ? 1 : std::atol(times);
}

/// Whether this call of `function` is to fail. Takes no memory, as it is asked about allocations too.
bool fails(std::string_view function) {
  const char* file = std::getenv("FERRIN_FAILING");
  const int descriptor = file == nullptr ? -1 : static_cast<int>(syscall(SYS_open, file, O_RDWR, 0));
  if (descriptor < 0) return false;
  std::array<char, 64> text{};
  const auto size = syscall(SYS_read, descriptor, text.data(), text.size());
  const std::string_view line(text.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
  int left = -1;
  if (line.starts_with(function) && line.substr(function.size()).starts_with(' '))
    std::from_chars(text.data() + function.size() + 1, text.data() + size, left);
  if (left > 0) {
    const int length = std::snprintf(text.data(), text.size(), "%.*s %d", static_cast<int>(function.size()),
                                     function.data(), left - 1);
    syscall(SYS_ftruncate, descriptor, 0);
    if (left > 1) syscall(SYS_pwrite64, descriptor, text.data(), length, 0);
  }
  syscall(SYS_close, descriptor);
  return left == 1;
}

/// An errno value, as system calls report it.
int failed(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto lookUp = systems<decltype(getaddrinfo)>("getaddrinfo");
  const char* file = std::getenv("FERRIN_ADDRESSES");
  in6_addr address{};
  const bool isName =
      name != nullptr && inet_pton(AF_INET, name, &address) + inet_pton(AF_INET6, name, &address) == 0;
  if (file == nullptr || !isName) return lookUp(name, service, hints, result);
  std::ifstream addresses(file);
  *result = nullptr;
  while (addresses.peek() == EOF) pause();
  for (std::string line; std::getline(addresses, line);) {
    if (const int error = lookUp(line.c_str(), service, hints, result); error != 0) return error;
    result = &(*result)->ai_next;
  }
  return 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* time) {
  const long status = syscall(SYS_clock_gettime, clock, time);
  const long passed = (time->tv_sec * nanoseconds + time->tv_nsec) * speed();
  if (clock == CLOCK_BOOTTIME) *time = {passed / nanoseconds, passed % nanoseconds};
  const char* file = clock == CLOCK_REALTIME ? std::getenv("FERRIN_CLOCK") : nullptr;
  long back = 0;
  if (file != nullptr) std::ifstream(file) >> back;
  time->tv_sec -= back;
  return static_cast<int>(status);
}

extern "C" int epoll_wait(int queue, epoll_event* events, int count, int milliseconds) {
  static const auto wait = systems<decltype(epoll_wait)>("epoll_wait");
  const auto times = static_cast<int>(speed());
  return wait(queue, events, count, milliseconds <= 0 ? milliseconds : (milliseconds + times - 1) / times);
}

extern "C" int timerfd_settime(int timer, int flags, const itimerspec* setting, itimerspec* old) {
  static const auto set = systems<decltype(timerfd_settime)>("timerfd_settime");
  const long wait =
      (setting->it_value.tv_sec * nanoseconds + setting->it_value.tv_nsec + speed() - 1) / speed();
  const itimerspec shorter = {{}, {wait / nanoseconds, wait % nanoseconds}};
  return set(timer, flags, &shorter, old);
}

extern "C" int epoll_ctl(int queue, int operation, int descriptor, epoll_event* event) {
  static const auto control = systems<decltype(epoll_ctl)>("epoll_ctl");
  return fails("epoll_ctl") ? failed(ENOSPC) : control(queue, operation, descriptor, event);
}

extern "C" int socket(int family, int type, int protocol) {
  static const auto make = systems<decltype(socket)>("socket");
  return fails("socket") ? failed(EMFILE) : make(family, type, protocol);
}

extern "C" int connect(int descriptor, const sockaddr* address, socklen_t size) {
  static const auto begin = systems<decltype(connect)>("connect");
  return fails("connect") ? failed(EHOSTUNREACH) : begin(descriptor, address, size);
}

extern "C" int inotify_add_watch(int notices, const char* path, std::uint32_t events) {
  static const auto add = systems<decltype(inotify_add_watch)>("inotify_add_watch");
  return fails("inotify_add_watch") ? failed(ENOSPC) : add(notices, path, events);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*),
                              void* argument) {
  static const auto create = systems<decltype(pthread_create)>("pthread_create");
  return fails("pthread_create") ? EAGAIN : create(thread, attributes, run, argument);
}

void* operator new(std::size_t size) {
  void* block = fails("new") ? nullptr : std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
