#pragma once
// Gives the text of plist_to_xml() back to libplist: by plist_to_xml_free(), which 2.6 no longer has, or by
// plist_mem_free(), which 2.2 lacks. CMake chooses the file.

namespace ferrin::relay {

/// Frees what plist_to_xml() allocated; a null pointer has no effect.
void freePropertyListText(char* xml);

}  // namespace ferrin::relay
