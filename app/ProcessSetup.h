#pragma once
// What the process is, whichever way it was started.

namespace ferrin::app {

/// Before anything else: the exit status of programs that we run can be had, and no key ends up in a core
/// dump.
void setUpProcess();

}  // namespace ferrin::app
