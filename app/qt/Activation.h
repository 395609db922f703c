#pragma once
// Bringing the whole application to the front, and hiding it: Qt has no call for either.

#include <functional>
#include <string>

namespace ferrin::qt {

/// Shows a hidden application again and gives it the focus. On desktops that know windows only, does nothing:
/// raise the window.
void activateApplication();
/// Hides all windows of the application; does nothing on those desktops.
void hideApplication();

/// Calls `opened` on the main thread whenever the application is opened again while it runs: macOS starts no
/// second process then. Once, with a QApplication. Elsewhere nothing is called, as the second process finds
/// the first (SingleInstance).
void whenOpenedAgain(const std::function<void()>& opened);

/// The token that lets a window of this process take the focus (XDG_ACTIVATION_TOKEN of the xdg-activation
/// protocol). Empty where the launcher passed none.
std::string activationToken();

/// Calls `comeForward` at once, while `token`, which another process was launched with, is this process's
/// own. Without a token some desktops keep the focus where it is.
void withActivationToken(const std::string& token, const std::function<void()>& comeForward);

}  // namespace ferrin::qt
