// Loaded into a program before the system's libraries, to show it names and clocks of the test's own.
// Looking up any name finds the addresses in the file that FERRIN_ADDRESSES names, one a line, at
// that moment, and never ends while that file is empty, as where the name server can't be reached; the time
// of day is back by the seconds in the file FERRIN_CLOCK; all other time passes FERRIN_SPEED times as fast.

#include <dlfcn.h>
#include <netdb.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

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

}  // namespace

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
  static const auto lookUp = systems<decltype(getaddrinfo)>("getaddrinfo");
  const char* file = std::getenv("FERRIN_ADDRESSES");
  if (file == nullptr) return lookUp(name, service, hints, result);
  std::ifstream addresses(file);
  *result = nullptr;
  while (addresses.peek() == EOF) pause();
  for (std::string address; std::getline(addresses, address);) {
    if (const int error = lookUp(address.c_str(), nullptr, hints, result); error != 0) return error;
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
