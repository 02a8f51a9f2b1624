// Why a request has failed, as far as the machine tells afterwards.
#ifndef KXL_TOOLS_KXL_EXPLANATION_H
#define KXL_TOOLS_KXL_EXPLANATION_H

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

// What keeps a request from succeeding that has answered the code and that works with these files
// and locks: who the user is, what the administrator has set, who holds the locks, and the doctor's
// findings about them, their folders and their companions. Empty for a code that is no failure, and
// where nothing is found.
std::vector<std::string> Explain(std::int32_t code, std::vector<std::string> subjects);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_EXPLANATION_H
