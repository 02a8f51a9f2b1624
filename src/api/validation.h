// The checks of what hosts pass in.
#ifndef KXL_API_VALIDATION_H
#define KXL_API_VALIDATION_H

#include <cstddef>

namespace kxl {

inline constexpr std::size_t kMaximumAppId = 256;  // bytes without the zero, like the others
inline constexpr std::size_t kMaximumDisplayName = 512;
inline constexpr std::size_t kMaximumFolderPath = 255;

inline bool IsNullOrEmpty(const char* text) { return text == nullptr || *text == '\0'; }

// Whether a text is longer than maximum bytes. Reads no further than that.
bool IsLongerThan(const char* text, std::size_t maximum);

// At most kMaximumAppId bytes, none above 127. A refusal is traced. text must not be null; an empty
// one is accepted.
bool IsValidAppId(const char* text);

// 1 to kMaximumFolderPath bytes. A refusal is traced, that of null too.
bool IsValidFolderLength(const char* text);

// What registering and asking for updates demand of the three texts; each refusal of an identifier
// or a folder's length is traced, and which one of several comes first is seen there.
bool IsValidApplication(const char* appIdentifier, const char* appDisplayName,
                        const char* appFolderPath);

// Well-formed UTF-8, without over-long forms and without the code points that are no characters
// (U+FDD0 to U+FDEF, and U+xxFFFE and U+xxFFFF in every plane). Surrogates and code points up to
// 0x1FFFFF pass. Null counts as well formed.
bool IsValidUtf8(const char* text);

}  // namespace kxl

#endif  // KXL_API_VALIDATION_H
