#pragma once
// The program's own exception, and the text that a user sees for any exception.

#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ferrin::core {

/// The domain of every error that the program itself throws.
inline constexpr std::string_view launcherErrorDomain = "ProviderLauncher";

/// A failure that the program itself detects. The user sees `what()` unchanged; `code` is for callers and
/// tests. A failed step of a service manager has the manager's exit status as its code and its output as
/// text.
class LauncherError : public std::runtime_error {
 public:
  LauncherError(std::int64_t errorCode, const std::string& description)
      : std::runtime_error(description), code(errorCode) {}

  const std::string domain{launcherErrorDomain};
  const std::int64_t code;
};

/// The text to show for `error`: the name of the file that failed, without its folder, and the system's
/// reason, such as "config.toml: Permission denied". It fits into the window's status line; what() of the
/// exceptions of readBytes and others has the whole path. Any other exception's `what()` comes back
/// unchanged, line feeds included.
std::string localizedDescription(const std::exception& error);

}  // namespace ferrin::core
