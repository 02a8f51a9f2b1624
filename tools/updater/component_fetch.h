// Fetching the components that applications lack.
#ifndef KXL_TOOLS_UPDATER_COMPONENT_FETCH_H
#define KXL_TOOLS_UPDATER_COMPONENT_FETCH_H

#include <string>

#include "updater/misbehaviour.h"

namespace updater {

// Copies what the catalogue has of the listed components to that folder, which is made when it is
// missing, and takes it off the list. The rest stays listed. Waits while another updater does the
// same. False when the list cannot be read or written, or when something is listed and the folder
// is empty text, cannot be made, or lies where other updaters cannot be kept out.
bool FetchMissingComponents(const std::string& folder, const Misbehaviour& misbehaviour);

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_COMPONENT_FETCH_H
