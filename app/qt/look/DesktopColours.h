#pragma once
// Whether the desktop prefers light or dark colours, and more contrast.

#include <functional>
#include <memory>

#include "app/qt/look/Look.h"

namespace ferrin::qt {

/// Destroying it ends the calls of `changed`.
class DesktopColours {
 public:
  virtual ~DesktopColours() = default;

  /// The present preference. The first call may wait up to 0.2 s for it, without user input.
  virtual Colouring colouring() = 0;
};

/// Calls `changed` on the main thread after each change of the preference. Needs a QApplication.
std::unique_ptr<DesktopColours> followDesktopColours(std::function<void(Colouring)> changed);

}  // namespace ferrin::qt
