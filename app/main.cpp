// The application built without its window: the command-line mode only.

#include <iostream>

#include "app/CommandLineMode.h"
#include "app/ProcessSetup.h"

int main(int count, char** arguments) {
  ferrin::app::setUpProcess();
  if (ferrin::app::isReferenceConfigurationRequested({arguments, arguments + count})) {
    return ferrin::app::runReferenceConfiguration();
  }
  std::cerr << "ferrin-relay: this build has no window; it can be run with --apply-reference-config\n";
  return 1;
}
