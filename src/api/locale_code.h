// Display languages as the updater takes them.
#ifndef KXL_API_LOCALE_CODE_H
#define KXL_API_LOCALE_CODE_H

#include <string>

namespace kxl {

// "en-us", "EN_US" and "en_US_POSIX" give "en_US". Null, a text of less than 5 bytes and one that
// IsValidAppId refuses (and traces) give an empty text; what is no letter in the place of one ends
// the text there.
std::string NormaliseLocaleCode(const char* text);

}  // namespace kxl

#endif  // KXL_API_LOCALE_CODE_H
