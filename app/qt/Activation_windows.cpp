// Desktops that know windows but no applications: raising and hiding the window is all there is.

#include "app/qt/Activation.h"

namespace ferrin::qt {

void activateApplication() {}

void hideApplication() {}

}  // namespace ferrin::qt
