// The application built without its window: the command-line mode, and nothing else.

#include <signal.h>

#include <iostream>

#include "app/CommandLineMode.h"

int main(int count, char** arguments) {
  signal(SIGCHLD, SIG_DFL);  // a parent that ignores it would leave us without our programs' exit status
  if (ferrin::app::isReferenceConfigurationRequested({arguments, arguments + count})) {
    return ferrin::app::runReferenceConfiguration();
  }
  std::cerr << "ferrin-relay: this build has no window; it can be run with --apply-reference-config\n";
  return 1;
}
