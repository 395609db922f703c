// The locale, from the desktop's settings: a program that the desktop starts has none in its environment.

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <memory>
#include <string>
#include <type_traits>

#include "core/NameOrder.h"

namespace ferrin::core {

std::string userLocale() {
  const std::unique_ptr<std::remove_pointer_t<CFLocaleRef>, decltype(&CFRelease)> locale(
      CFLocaleCopyCurrent(), &CFRelease);
  std::array<char, 256> name{};
  const bool fits = CFStringGetCString(CFLocaleGetIdentifier(locale.get()), name.data(), name.size(),
                                       kCFStringEncodingUTF8) != 0;
  return fits ? name.data() : "";
}

}  // namespace ferrin::core
