#pragma once
// Whether the desktop is light or dark, and when that changes.

#include <functional>
#include <memory>

#include "app/qt/look/Look.h"

namespace ferrin::qt {

class DesktopColours {
 public:
  virtual ~DesktopColours() = default;

  /// What the desktop prefers. May wait for it a moment, the first time.
  virtual ColourScheme scheme() = 0;
};

/// `changed` is called on the main thread when the desktop prefers something else than before.
std::unique_ptr<DesktopColours> followDesktopColours(std::function<void(ColourScheme)> changed);

}  // namespace ferrin::qt
