// Fetching the components that applications lack.
#ifndef KXL_TOOLS_UPDATER_COMPONENT_FETCH_H
#define KXL_TOOLS_UPDATER_COMPONENT_FETCH_H

namespace updater {

// Copies what the catalogue has of the listed components to the download folder of the preferences,
// and takes it off the list. The rest stays listed.
void FetchMissingComponents();

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_COMPONENT_FETCH_H
