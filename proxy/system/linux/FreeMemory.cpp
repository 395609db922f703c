#include "proxy/system/FreeMemory.h"

#include <malloc.h>

namespace ferrin::proxy {

void releaseFreeMemory() { malloc_trim(0); }

}  // namespace ferrin::proxy
