// The requests that put an application on the machine's list and take it off. Both answer result
// codes; what they cannot go on with they throw, for the entry frame to answer.
#ifndef KXL_API_REGISTRATION_H
#define KXL_API_REGISTRATION_H

#include <cstdint>

namespace kxl {

std::int32_t RegisterApplication(const char* appIdentifier, const char* appDisplayName,
                                 const char* appFolderPath);

std::int32_t UnRegisterApplication(const char* appIdentifier);

// Registers the application unless it is registered with this folder and, where one is given, this
// name. Answers ESD_ERR_OK, ESD_ERR_INVALIDDATA for a null identifier or folder, and
// ESD_ERR_NOTREGISTERED when registering failed for any reason.
std::int32_t RefreshRegistration(const char* appIdentifier, const char* appDisplayName,
                                 const char* appFolderPath);

}  // namespace kxl

#endif  // KXL_API_REGISTRATION_H
