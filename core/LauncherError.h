#pragma once
// The program's own error value, and the one line in which any failure is shown to a person.

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ferrin::core {

/// The domain of every error that the program raises itself.
inline constexpr std::string_view launcherErrorDomain = "ProviderLauncher";

/// A failure that the program itself finds. The description is what the person sees, as it stands.
class LauncherError : public std::runtime_error {
 public:
  LauncherError(std::int64_t errorCode, const std::string& description)
      : std::runtime_error(description), code(errorCode) {}

  const std::string domain{launcherErrorDomain};
  const std::int64_t code;
};

/// One line for a person: the thing that failed and the system's reason, without the wording that the
/// standard library's own exceptions wrap around them. A LauncherError's description comes back unchanged,
/// line feeds included.
std::string localizedDescription(const std::exception& error);

}  // namespace ferrin::core
