// For systems with controls of their own: nothing to set.

#include "app/qt/look/Look.h"

namespace ferrin::qt {

void setUpLook(QApplication&) {}

void setColouring(QApplication&, Colouring) {}

}  // namespace ferrin::qt
