// The request to carry out the updater's plug-in action for a registered application.
#ifndef KXL_API_PLUGIN_ACTION_H
#define KXL_API_PLUGIN_ACTION_H

#include <cstdint>

#include "api/request_preferences.h"

namespace kxl {

// Starts the updater with the identifier in doActionAppID. Answers a result code.
std::int32_t DoPluginActionRequest(RequestPreferences& preferences, const char* appIdentifier);

}  // namespace kxl

#endif  // KXL_API_PLUGIN_ACTION_H
