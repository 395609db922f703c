// The locale, from the environment.

#include <cstdlib>
#include <string>
#include <string_view>

#include "core/NameOrder.h"

namespace ferrin::core {

// "C" and "POSIX" mean the order of bytes, which no user expects of a list of names.
std::string userLocale() {
  for (const char* variable : {"LC_ALL", "LC_COLLATE", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    const std::string_view setting(value);
    const std::string_view locale = setting.substr(0, setting.find_first_of(".@"));
    return locale == "C" || locale == "POSIX" ? "" : std::string(locale);
  }
  return "";
}

}  // namespace ferrin::core
