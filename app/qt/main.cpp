#include "app/ProcessSetup.h"
#include "app/qt/ProviderLauncher.h"

int main(int count, char** arguments) {
  ferrin::app::setUpProcess();
  return ferrin::qt::ProviderLauncherApp::main(count, arguments);
}
