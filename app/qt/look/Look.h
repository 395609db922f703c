#pragma once
// The style of the application, on systems whose own controls don't set it.

#include <QApplication>

namespace ferrin::qt {

enum class ColourScheme { light, dark };

/// To be called once, before the first window.
void setUpLook(QApplication& application);

/// Also changes windows that are open.
void setColourScheme(QApplication& application, ColourScheme scheme);

}  // namespace ferrin::qt
