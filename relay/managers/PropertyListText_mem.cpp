#include <plist/plist.h>

#include "relay/managers/PropertyListText.h"

namespace ferrin::relay {

void freePropertyListText(char* xml) { plist_mem_free(xml); }

}  // namespace ferrin::relay
