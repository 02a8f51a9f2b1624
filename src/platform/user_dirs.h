// The user's own choice of desktop and documents folder, as desktop environments keep it.
#ifndef KXL_PLATFORM_USER_DIRS_H
#define KXL_PLATFORM_USER_DIRS_H

#include <string>
#include <string_view>

namespace kxl {

// Looks key ("XDG_DESKTOP_DIR") up in the text of user-dirs.dirs, a line of which reads
//   XDG_DESKTOP_DIR="$HOME/Desktop"
// with a path that is absolute or starts with $HOME, and backslashes before special characters.
// The last valid line wins. Empty when there is none.
std::string FindUserDir(std::string_view text, std::string_view key, std::string_view home);

}  // namespace kxl

#endif  // KXL_PLATFORM_USER_DIRS_H
