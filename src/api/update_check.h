// The request that starts the updater for a check.
#ifndef KXL_API_UPDATE_CHECK_H
#define KXL_API_UPDATE_CHECK_H

#include <chrono>
#include <cstdint>

#include "api/request_preferences.h"

namespace kxl {

std::int32_t TriggerUpdateCheck(RequestPreferences& preferences, const char* appIdentifier,
                                const char* appDisplayName, const char* appFolderPath,
                                const char* appDisplayLang, std::int32_t triggerType,
                                bool bOverrideData);

// Whether the chosen interval (a week for AutoCheckFreq 1, else a month) has passed since
// LastDateCheck. True when there was no check yet or its text does not begin with a date (see
// ParseDate), false when a setting cannot be read.
bool IsTimeToLaunch(const KeldaUpdaterPrefs& preferences, std::chrono::year_month_day today);

}  // namespace kxl

#endif  // KXL_API_UPDATE_CHECK_H
