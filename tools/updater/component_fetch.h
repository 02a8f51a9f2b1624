// Fetching the components that applications lack.
#ifndef KXL_TOOLS_UPDATER_COMPONENT_FETCH_H
#define KXL_TOOLS_UPDATER_COMPONENT_FETCH_H

namespace updater {

// Copies what the catalogue has of the listed components to the download folder of the preferences,
// and takes it off the list. The rest stays listed. Waits while another updater does the same.
// False when the preferences or the list cannot be read or written.
bool FetchMissingComponents();

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_COMPONENT_FETCH_H
