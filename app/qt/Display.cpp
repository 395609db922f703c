#include "app/qt/Display.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace ferrin::qt {
namespace {

std::string triedDisplays() {
  std::string tried;
  for (const char* name : {"WAYLAND_DISPLAY", "DISPLAY"}) {
    const char* value = std::getenv(name);
    if (!value || !*value) continue;
    tried += (tried.empty() ? "" : ", ") + std::string(name) + "=" + value;
  }
  return tried.empty() ? "neither WAYLAND_DISPLAY nor DISPLAY is set" : tried;
}

/// A message handler for opening the display: Qt reports the failure as a fatal message, and would then
/// abort.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString&) {
  if (type != QtFatalMsg) return;
  writeError("ferrin-relay: no display can be used (" + triedDisplays() +
             "); ferrin-relay --apply-reference-config starts the relay without one");
  _exit(1);
}

}  // namespace

std::unique_ptr<QApplication> openDisplay(int& count, char** arguments) {
  const auto usual = qInstallMessageHandler(endWithoutDisplay);
  auto application = std::make_unique<QApplication>(count, arguments);
  qInstallMessageHandler(usual);
  return application;
}

void writeError(const std::string& line) { std::fputs((line + '\n').c_str(), stderr); }

}  // namespace ferrin::qt
