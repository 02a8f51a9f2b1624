// Property lists, in their XML and their binary form.
#ifndef KXL_STORES_PROPERTY_LIST_H
#define KXL_STORES_PROPERTY_LIST_H

#include <string>

namespace kxl {

// The boolean of that key in the list's dictionary; text is the list's file. False, with value as
// it was, when there is no such key, its value is of another kind, the list is damaged, nested or
// referring beyond the limits that XML files have too (esd/xml_parser.h), or libplist is not
// installed.
bool FindBoolean(const std::string& text, const char* key, bool& value);

}  // namespace kxl

#endif  // KXL_STORES_PROPERTY_LIST_H
