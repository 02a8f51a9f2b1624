// Property lists, in their XML and their binary form.
#ifndef KXL_STORES_PROPERTY_LIST_H
#define KXL_STORES_PROPERTY_LIST_H

#include <string>

namespace kxl {

enum class BooleanSearch {
  kFound,
  kOtherType,  // the key's value is no boolean
  kNoKey,      // a dictionary without that key
  kDamaged,    // no dictionary, or nested or referring beyond the limits that XML files have too
               // (esd/xml_parser.h)
  kNoLibrary,  // libplist is not installed
};

// Looks for the boolean of that key in the list's dictionary; text is the list's file. value is as
// it was unless the answer is kFound.
BooleanSearch FindBoolean(const std::string& text, const char* key, bool& value);

}  // namespace kxl

#endif  // KXL_STORES_PROPERTY_LIST_H
