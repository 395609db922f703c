// Loaded into a program before the system's libraries: looking up "deaf.example" never ends, as where the
// name server can't be reached.

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <string_view>

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
  while (name != nullptr && std::string_view(name) == "deaf.example") pause();
  static const auto system = reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(name, service, hints, result);
}
