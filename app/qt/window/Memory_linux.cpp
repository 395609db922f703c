#include <malloc.h>

#include "app/qt/window/Memory.h"

namespace ferrin::qt {

void giveMemoryBack() { malloc_trim(0); }

}  // namespace ferrin::qt
