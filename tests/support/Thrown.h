#pragma once
// What an action throws, as text to compare.

#include <exception>
#include <string>

#include "core/LauncherError.h"

namespace ferrin::tests {

/// What a person would be told; for the program's own errors with domain and code before it:
/// "ProviderLauncher 5: no". "nothing" when nothing is thrown.
template <typename Action>
std::string thrownBy(Action action) {
  try {
    action();
  } catch (const core::LauncherError& error) {
    return error.domain + " " + std::to_string(error.code) + ": " + error.what();
  } catch (const std::exception& error) {
    return core::localizedDescription(error);
  }
  return "nothing";
}

}  // namespace ferrin::tests
