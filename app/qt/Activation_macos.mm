#include "app/qt/Activation.h"

#import <AppKit/AppKit.h>

namespace ferrin::qt {

void activateApplication() {
  [NSApp unhide:nil];
  // macOS 14 has the first call, and deprecates the second.
  if ([NSApp respondsToSelector:@selector(activate)]) {
    [NSApp performSelector:@selector(activate)];
  } else {
    [NSApp activateIgnoringOtherApps:YES];
  }
}

void hideApplication() { [NSApp hide:nil]; }

std::string activationToken() { return {}; }

void withActivationToken(const std::string&, const std::function<void()>& comeForward) { comeForward(); }

}  // namespace ferrin::qt
