// The request to fetch components that an application lacks.
#ifndef KXL_API_MISSING_COMPONENTS_REQUEST_H
#define KXL_API_MISSING_COMPONENTS_REQUEST_H

#include <kxl/kxl.h>

#include <cstdint>

namespace kxl {

// Lists the components, then tells the running updater or starts it. Answers a result code; throws
// when there is no folder for the list.
std::int32_t DownloadMissingComponentsRequest(const char* appIdentifier, const char* appDisplayName,
                                              const char* appFolderPath, const char* appDisplayLang,
                                              const KXLMissingComponentList* components,
                                              std::int32_t operationType, bool bOverrideData);

}  // namespace kxl

#endif  // KXL_API_MISSING_COMPONENTS_REQUEST_H
