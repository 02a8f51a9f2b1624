// The request that holds update notices back.
#ifndef KXL_API_SUPPRESSION_H
#define KXL_API_SUPPRESSION_H

#include <cstdint>

namespace kxl {

// As KXLSuppressUpdates documents it. Throws std::exception when the file of holds has a line with
// a time that does not exist.
std::int32_t SuppressUpdates(char* appIdentifier, std::uint32_t* bufferSize, std::uint32_t* seconds,
                             std::int32_t query);

// Whether any application's hold is running, by what was read: whether the sweep of ended ones can
// be written does not count. False, with suppressed as it was, when the holds cannot be read.
bool AreUpdatesSuppressed(bool& suppressed);

}  // namespace kxl

#endif  // KXL_API_SUPPRESSION_H
