#pragma once
// Settings of the process, the same however it was started.

namespace ferrin::app {

/// To be called first in main(). Resets SIGCHLD, so that exit statuses of child processes can be read, and
/// turns core dumps off, which could hold a key.
void setUpProcess();

}  // namespace ferrin::app
