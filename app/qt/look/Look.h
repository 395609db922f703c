#pragma once
// The style of the application, on systems whose own controls don't set it.

#include <QApplication>

namespace ferrin::qt {

enum class ColourScheme { light, dark };

struct Colouring {
  ColourScheme scheme = ColourScheme::light;
  bool hasMoreContrast = false;

  bool operator==(const Colouring&) const = default;
};

/// To be called once, before the first window.
void setUpLook(QApplication& application);

/// Also changes windows that are open.
void setColouring(QApplication& application, Colouring colouring);

}  // namespace ferrin::qt
