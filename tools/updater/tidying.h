// Tidying up after the last application.
#ifndef KXL_TOOLS_UPDATER_TIDYING_H
#define KXL_TOOLS_UPDATER_TIDYING_H

namespace updater {

// Removes answers that nobody has read and lock files that nobody works behind. Does nothing when
// an application has registered meanwhile. False when the list cannot be read.
bool TidyUp();

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_TIDYING_H
