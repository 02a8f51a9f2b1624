// The texts of result codes.
#ifndef KXL_API_RESULT_CODE_H
#define KXL_API_RESULT_CODE_H

#include <cstdint>
#include <string>

namespace kxl {

// The code's name, "ESD_ERR_OK", empty for a code without one; or, with a format, that format with
// the number as %0 and the name as %1: "%0(%1)" gives "0(ESD_ERR_OK)", and "9()" for a code without
// a name. Safe from any number of threads.
std::string ResultCodeText(std::int32_t code, const char* format);

}  // namespace kxl

#endif  // KXL_API_RESULT_CODE_H
