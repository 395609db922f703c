// Desktops that know windows but no applications: raising and hiding the window is all there is.

#include <QByteArray>

#include "app/qt/Activation.h"

namespace ferrin::qt {
namespace {

/// Where launchers put the right, and where the toolkit looks for it when a window asks for the front.
constexpr const char* variable = "XDG_ACTIVATION_TOKEN";

}  // namespace

void activateApplication() {}

void hideApplication() {}

std::string activationToken() { return qgetenv(variable).toStdString(); }

void withActivationToken(const std::string& token, const std::function<void()>& comeForward) {
  qputenv(variable, token.c_str());
  comeForward();
  qunsetenv(variable);
}

}  // namespace ferrin::qt
