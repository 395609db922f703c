// Desktops that know windows and no applications.

#include <QByteArray>

#include "app/qt/Activation.h"

namespace ferrin::qt {
namespace {

/// Launchers set it; Qt reads it when a window asks for the focus.
constexpr const char* variable = "XDG_ACTIVATION_TOKEN";

}  // namespace

void activateApplication() {}

void hideApplication() {}

void whenOpenedAgain(const std::function<void()>&) {}

std::string activationToken() { return qgetenv(variable).toStdString(); }

void withActivationToken(const std::string& token, const std::function<void()>& comeForward) {
  qputenv(variable, token.c_str());
  comeForward();
  qunsetenv(variable);
}

}  // namespace ferrin::qt
