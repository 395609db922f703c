#include "app/qt/window/Memory.h"

namespace ferrin::qt {

void giveMemoryBack() {}

}  // namespace ferrin::qt
