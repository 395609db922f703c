#pragma once
// Memory that the allocator keeps.

namespace ferrin::qt {

/// Gives what is free back to the system, after something large has gone. Does nothing where the allocator
/// does so by itself.
void giveMemoryBack();

}  // namespace ferrin::qt
