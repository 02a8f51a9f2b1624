// Joining and splitting paths. A path is a string of bytes in UTF-8 with '/' between components.
// Nothing here touches the file system.
#ifndef KXL_PLATFORM_PATH_H
#define KXL_PLATFORM_PATH_H

#include <string>
#include <string_view>

namespace kxl {

// Drops one leading '/' of component, if there is one (a second one stays), and puts a '/' between
// the two unless base ends in one.
std::string JoinPath(std::string_view base, std::string_view component);

// The path without its last component. "/" is its own parent; a single relative component has the
// parent ".".
std::string ParentPath(const std::string& path);

// Whether name can stand as one component: not empty, not "." or "..", without '/'. Names made from
// application identifiers, which may hold any of these, are tested before they become a path.
bool IsPathComponent(std::string_view name);

}  // namespace kxl

#endif  // KXL_PLATFORM_PATH_H
