#include "proxy/system/FreeMemory.h"

#include <malloc/malloc.h>

namespace ferrin::proxy {

void releaseFreeMemory() { malloc_zone_pressure_relief(nullptr, 0); }

}  // namespace ferrin::proxy
