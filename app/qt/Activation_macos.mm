#include "app/qt/Activation.h"

#import <AppKit/AppKit.h>

namespace ferrin::qt {

void activateApplication() {
  [NSApp unhide:nil];
  // Deprecated since macOS 14, whose "activate" only asks, and is often refused to an application without a
  // Dock icon.
  [NSApp activateIgnoringOtherApps:YES];
}

void hideApplication() { [NSApp hide:nil]; }

std::string activationToken() { return {}; }

void withActivationToken(const std::string&, const std::function<void()>& comeForward) { comeForward(); }

}  // namespace ferrin::qt
