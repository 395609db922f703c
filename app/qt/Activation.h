#pragma once
// What the toolkit has no call for: the whole application coming to the front, or going out of sight.

#include <functional>
#include <string>

namespace ferrin::qt {

void activateApplication();
void hideApplication();

/// The right to the front that this process was launched with; may be empty.
std::string activationToken();

/// Calls `comeForward` with the right that another process was launched with: where people work in a window,
/// some desktops let no other one to the front without.
void withActivationToken(const std::string& token, const std::function<void()>& comeForward);

}  // namespace ferrin::qt
