// Integers in our files.
#ifndef KXL_ESD_NUMBER_TEXT_H
#define KXL_ESD_NUMBER_TEXT_H

#include <cstdint>
#include <string_view>

namespace esd {

// Reads a decimal integer, with a sign and white space around it at the most: what a stream would
// read in the "C" locale, whatever locale the host has set. False, with number as it was, for
// anything else and for one that does not fit.
bool ParseInteger(std::string_view text, std::int32_t& number);

}  // namespace esd

#endif  // KXL_ESD_NUMBER_TEXT_H
