// What was in the way or damaged and may still be of use: <path>.damaged, and <path>.damaged.1 and
// so on for those that were there before, the highest number being the newest of these. The library
// has the first name only and replaces what it finds there; nothing here replaces anything.
#ifndef KXL_TOOLS_KXL_SET_ASIDE_H
#define KXL_TOOLS_KXL_SET_ASIDE_H

#include <string>
#include <vector>

namespace tool {

// Everything that was set aside for that path, the newest first.
std::vector<std::string> SetAsideFor(const std::string& path);

// Makes the name <path>.damaged free. False, with errno, when what stands there cannot be moved.
bool MakeRoomForSetAside(const std::string& path);

// Moves the file or folder out of the way.
bool SetAside(const std::string& path);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_SET_ASIDE_H
