// May this user check for updates, and why (not)?
#ifndef KXL_TOOLS_KXL_POLICY_H
#define KXL_TOOLS_KXL_POLICY_H

#include "kxl/output.h"
#include "platform/accounts.h"

namespace tool {

void ShowPolicy(Output& output);

std::string RuleText(kxl::AdminRule rule);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_POLICY_H
