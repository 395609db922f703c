#include "proxy/system/SecretMemory.h"

#include <cstring>

namespace ferrin::proxy {

void wipe(void* memory, std::size_t size) noexcept { explicit_bzero(memory, size); }

}  // namespace ferrin::proxy
