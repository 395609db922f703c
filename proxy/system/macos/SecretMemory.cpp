#define __STDC_WANT_LIB_EXT1__ 1

#include "proxy/system/SecretMemory.h"

#include <string.h>

namespace ferrin::proxy {

void wipe(void* memory, std::size_t size) noexcept { memset_s(memory, size, 0, size); }

}  // namespace ferrin::proxy
