// A host application of the shared library, in a process of its own.
#ifndef KXL_TESTS_SUPPORT_HOST_H
#define KXL_TESTS_SUPPORT_HOST_H

#include <optional>

#include "support/test_folder.h"

namespace kxl_test {

// One call: the function's name without "KXL", then its texts and numbers; nullopt, or one that is
// left out, passes a null pointer. A trigger's fifth is its type, "refresh" as sixth (as fourth of
// IsUpdateAvailable) sets bOverrideData. IsUpdateAvailable asks with the number 7, and answers 1000
// + *result, which was 77 before, for ESD_ERR_OK. Missing components stand from the fifth on, name,
// category and version of each; a fifth alone makes an empty list.
using Text = std::optional<std::string>;
using Call = std::vector<Text>;

// Makes the calls one after the other in a new process, and answers what they answered. prepare
// names what the process does first: "" nothing, "guest" becomes the ordinary user 2000
// (WithFreeIdentity), a number lets no file grow beyond so many bytes. A process that does not end
// well answers nothing.
std::vector<int> CallsInHost(const std::vector<Call>& calls,
                             const Environment& environment = WithAccounts(),
                             const std::string& prepare = "");

// One call of an entry function by name; for host bodies of other tests.
int MakeCall(const Call& call);

}  // namespace kxl_test

#endif  // KXL_TESTS_SUPPORT_HOST_H
