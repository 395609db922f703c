#include "app/qt/Activation.h"

#import <AppKit/AppKit.h>

/// The application's delegate. Qt's own, in whose place it is, answers everything but one message.
@interface FerrinDelegate : NSObject <NSApplicationDelegate> {
 @public
  id replaced;
  const std::function<void()>* openedAgain;
}
- (BOOL)applicationShouldHandleReopen:(NSApplication*)application hasVisibleWindows:(BOOL)any;
@end

@implementation FerrinDelegate
- (BOOL)applicationShouldHandleReopen:(NSApplication*)application hasVisibleWindows:(BOOL)any {
  static_cast<void>(application);
  static_cast<void>(any);
  (*openedAgain)();
  return NO;
}
- (BOOL)respondsToSelector:(SEL)selector {
  return [super respondsToSelector:selector] || [replaced respondsToSelector:selector];
}
- (id)forwardingTargetForSelector:(SEL)selector {
  static_cast<void>(selector);
  return replaced;
}
@end

namespace ferrin::qt {

void activateApplication() {
  [NSApp unhide:nil];
  // Deprecated since macOS 14, whose "activate" only asks, and is often refused to an application without a
  // Dock icon.
  [NSApp activateIgnoringOtherApps:YES];
}

void hideApplication() { [NSApp hide:nil]; }

/// Neither the delegate nor what it calls is ever freed, as the application doesn't own them.
void whenOpenedAgain(const std::function<void()>& opened) {
  FerrinDelegate* delegate = [[FerrinDelegate alloc] init];
  delegate->replaced = [NSApp delegate];
  delegate->openedAgain = new std::function<void()>(opened);
  [NSApp setDelegate:delegate];
}

std::string activationToken() { return {}; }

void withActivationToken(const std::string&, const std::function<void()>& comeForward) { comeForward(); }

}  // namespace ferrin::qt
