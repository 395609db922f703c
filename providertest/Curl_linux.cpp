#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include "providertest/Curl.h"

namespace ferrin::providertest {
namespace {

/// The name of all versions since 7.16; what they have in common is never taken back.
constexpr const char* library = "libcurl.so.4";

template <typename Function>
Function* found(void* handle, const char* name) {
  if (handle != nullptr)
    if (void* address = dlsym(handle, name)) return reinterpret_cast<Function*>(address);
  std::fprintf(stderr, "ferrin-relay: %s\n", dlerror());
  std::_Exit(EXIT_FAILURE);
}

Curl load() {
  void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
#define FERRIN_FOUND(name) found<decltype(curl_##name)>(handle, "curl_" #name),
  return {FERRIN_EACH_CURL_FUNCTION(FERRIN_FOUND)};
#undef FERRIN_FOUND
}

}  // namespace

const Curl& curl() {
  static const Curl loaded = load();
  return loaded;
}

}  // namespace ferrin::providertest
