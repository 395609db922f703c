// The item in the menu bar of macOS, compiled without automatic reference counting.

#include "app/qt/tray/TrayItem.h"

#import <AppKit/AppKit.h>

#include <string>
#include <utility>

using ferrin::app::MenuAction;
using ferrin::app::MenuItem;
using ferrin::qt::TrayItem;

/// The target of the menu's entries. The tag of an entry is its action.
@interface FerrinMenuTarget : NSObject {
 @public
  const TrayItem::Chosen* chosen;
}
- (void)choose:(NSMenuItem*)item;
@end

@implementation FerrinMenuTarget
- (void)choose:(NSMenuItem*)item {
  (*chosen)(static_cast<MenuAction>([item tag]));
}
@end

namespace ferrin::qt {
namespace {

NSString* toNative(std::string_view text) {
  return [NSString stringWithUTF8String:std::string(text).c_str()];
}

class NativeTrayItem : public TrayItem {
 public:
  explicit NativeTrayItem(Chosen whenChosen)
      : chosen(std::move(whenChosen)),
        target([[FerrinMenuTarget alloc] init]),
        menu([[NSMenu alloc] initWithTitle:toNative(app::menuBarTitle)]),
        status([[[NSStatusBar systemStatusBar] statusItemWithLength:NSSquareStatusItemLength] retain]) {
    target->chosen = &chosen;
    [menu setAutoenablesItems:NO];
    [status setMenu:menu];
  }

  ~NativeTrayItem() override {
    [[NSStatusBar systemStatusBar] removeStatusItem:status];
    [status release];
    [menu release];
    [target release];
  }

  void show(std::string_view symbol, std::string_view toolTip, const std::vector<MenuItem>& items) override {
    NSImage* image = [NSImage imageWithSystemSymbolName:toNative(symbol)
                               accessibilityDescription:toNative(toolTip)];
    [image setTemplate:YES];
    [[status button] setImage:image];
    [[status button] setToolTip:toNative(toolTip)];
    [menu removeAllItems];
    for (const MenuItem& item : items) [menu addItem:entryFor(item)];
  }

  bool isPresent() override { return true; }

 private:
  NSMenuItem* entryFor(const MenuItem& item) const {
    if (item.kind == MenuItem::Kind::separator) return [NSMenuItem separatorItem];
    const bool isButton = item.kind == MenuItem::Kind::button;
    NSMenuItem* entry = [[[NSMenuItem alloc] initWithTitle:toNative(item.title)
                                                    action:isButton ? @selector(choose:) : SEL {}
                                             keyEquivalent:@""] autorelease];
    [entry setTarget:target];
    [entry setTag:static_cast<NSInteger>(item.action)];
    [entry setEnabled:isButton];
    return entry;
  }

  const Chosen chosen;
  FerrinMenuTarget* const target;
  NSMenu* const menu;
  NSStatusItem* const status;
};

}  // namespace

std::unique_ptr<TrayItem> makeTrayItem(TrayItem::Chosen chosen, std::function<void()>) {
  return std::make_unique<NativeTrayItem>(std::move(chosen));
}

}  // namespace ferrin::qt
