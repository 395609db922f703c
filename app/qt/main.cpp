#include <signal.h>

#include "app/qt/ProviderLauncher.h"

int main(int count, char** arguments) {
  signal(SIGCHLD, SIG_DFL);  // a parent that ignores it would leave us without our programs' exit status
  return ferrin::qt::ProviderLauncherApp::main(count, arguments);
}
