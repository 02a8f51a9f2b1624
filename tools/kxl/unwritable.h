// Taking out of a file what keeps it from being written.
#ifndef KXL_TOOLS_KXL_UNWRITABLE_H
#define KXL_TOOLS_KXL_UNWRITABLE_H

#include <string>
#include <vector>

#include "esd/xml_document.h"
#include "kxl/rights.h"

namespace tool {

// The entries of a document (below its root) that could not be written again, as a person would
// name them; empty for a document that can be written.
std::vector<std::string> UnwritableEntries(const esd::XMLNodePointer& document);

// Takes them out of the root, and answers a document of them alone, escaped as XML should be: it
// reads back.
std::string TakeOutUnwritable(const esd::XMLNodePointer& root);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_UNWRITABLE_H
