// Setting variables of the process's environment beside threads that read it.
#ifndef KXL_PLATFORM_ENVIRONMENT_H
#define KXL_PLATFORM_ENVIRONMENT_H

#include <string>
#include <string_view>

namespace kxl {

// As setenv(3), which frees the list of variables when it grows: a thread that is in it then, in
// getenv(3) or in localtime(3), ends the process. This one frees nothing that was ever in the
// environment. It keeps each different value once, for as long as the process lives, whether the
// library stays loaded or not. It takes no lock: a child forked while another thread of the host is
// in setenv would wait for that one's for ever.
//
// These are for one thread at a time; one that calls setenv at the same moment may undo either
// change.
void SetVariable(const std::string& name, const std::string& value);

// The variable as it stands in the environment, "name=value"; null when it is not set.
char* FindVariable(std::string_view name);

// Puts back what FindVariable has answered before the variable was set; null unsets it, as
// unsetenv(3). Needs no memory.
void RestoreVariable(std::string_view name, char* assignment) noexcept;

}  // namespace kxl

#endif  // KXL_PLATFORM_ENVIRONMENT_H
