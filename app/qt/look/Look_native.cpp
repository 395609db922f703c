// The controls of the system, which follow its colours by themselves.

#include "app/qt/look/Look.h"

namespace ferrin::qt {

void setUpLook(QApplication&) {}

void setColourScheme(QApplication&, ColourScheme) {}

}  // namespace ferrin::qt
