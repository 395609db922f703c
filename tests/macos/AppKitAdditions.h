#pragma once
// What AppKit has and GNUstep's headers lack, as far as the window uses it. Comes after theirs.

@interface NSImage (Additions)
+ (NSImage*)imageWithSystemSymbolName:(NSString*)name accessibilityDescription:(NSString*)description;
- (void)setTemplate:(BOOL)isTemplate;
@end

@interface NSMenu (Additions)
- (void)removeAllItems;
@end

@interface NSStatusItem (Additions)
- (NSButton*)button;
@end
