#include <plist/plist.h>

#include "relay/managers/PropertyListText.h"

namespace ferrin::relay {

void freePropertyListText(char* xml) { plist_to_xml_free(xml); }

}  // namespace ferrin::relay
