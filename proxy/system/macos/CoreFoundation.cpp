#include "proxy/system/macos/CoreFoundation.h"

#include <array>

namespace ferrin::proxy {

std::string textOf(CFTypeRef value) {
  std::array<char, 1024> bytes{};
  if (value == nullptr || CFGetTypeID(value) != CFStringGetTypeID()) return "";
  const bool fits = CFStringGetCString(static_cast<CFStringRef>(value), bytes.data(), bytes.size(),
                                       kCFStringEncodingUTF8) != 0;
  return fits ? bytes.data() : "";
}

int numberOf(CFTypeRef value, int otherwise) {
  int result = otherwise;
  if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID())
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberIntType, &result);
  return result;
}

}  // namespace ferrin::proxy
