#pragma once

namespace ferrin::proxy {

/// Opens the file behind `descriptor` a second time, for reading and writing. The new descriptor is the
/// caller's; negative where that is not possible.
int reopened(int descriptor);

}  // namespace ferrin::proxy
