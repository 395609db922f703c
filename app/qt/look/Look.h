#pragma once
// How the application looks, as far as the system's own controls don't say so already.

#include <QApplication>

namespace ferrin::qt {

enum class ColourScheme { light, dark };

/// Before the first window.
void setUpLook(QApplication& application);

/// From now on, in windows that are open too.
void setColourScheme(QApplication& application, ColourScheme scheme);

}  // namespace ferrin::qt
