// What fcntl(2) of macOS has in addition: F_GETPATH.

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <string>

#include "MacOS.h"

extern "C" {
int __real_fcntl(int descriptor, int command, ...);

int __wrap_fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);  // an int, too, is passed in a register of its own
  va_end(arguments);
  if (command != F_GETPATH) return __real_fcntl(descriptor, command, argument);
  auto* const path = static_cast<char*>(argument);
  const ssize_t size = readlink(("/proc/self/fd/" + std::to_string(descriptor)).c_str(), path, 1023);
  if (size >= 0) path[size] = '\0';
  return size < 0 ? -1 : 0;
}
}
