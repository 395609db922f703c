#pragma once
// What is common to the calls of Core Foundation: ownership, and its values as ours.

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <string>
#include <type_traits>

namespace ferrin::proxy {

struct Release {
  void operator()(CFTypeRef object) const { CFRelease(object); }
};
/// What a function with "Create" or "Copy" in its name returned, null included.
template <typename Reference>
using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, Release>;
template <typename Reference>
Owned<Reference> owned(Reference reference) {
  return Owned<Reference>(reference);
}

/// Empty for null and whatever is no string.
std::string textOf(CFTypeRef value);
/// `otherwise` for null and whatever is no number.
int numberOf(CFTypeRef value, int otherwise);

}  // namespace ferrin::proxy
