// The requests that put an application on the machine's list and take it off. Both answer result
// codes; what they cannot go on with they throw, for the entry frame to answer.
#ifndef KXL_API_REGISTRATION_H
#define KXL_API_REGISTRATION_H

#include <cstdint>

namespace kxl {

std::int32_t RegisterApplication(const char* appIdentifier, const char* appDisplayName,
                                 const char* appFolderPath);

std::int32_t UnRegisterApplication(const char* appIdentifier);

}  // namespace kxl

#endif  // KXL_API_REGISTRATION_H
