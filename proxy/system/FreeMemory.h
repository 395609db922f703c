#pragma once

namespace ferrin::proxy {

/// Gives memory that was freed, but kept by the allocator, back to the system. Walks the whole heap.
void releaseFreeMemory();

}  // namespace ferrin::proxy
