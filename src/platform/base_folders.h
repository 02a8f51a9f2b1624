// The system's base folders by kind, as a table of fifteen rows.
#ifndef KXL_PLATFORM_BASE_FOLDERS_H
#define KXL_PLATFORM_BASE_FOLDERS_H

#include <string>
#include <string_view>

namespace kxl {

// <root> is KXL_ROOT, a prefix for every machine-wide folder (tests, images, trials without
// privileges); empty by default. A relative one starts at the working directory of the first use;
// where there is none, the machine-wide folders cannot be found.
enum FolderKind : unsigned {
  kUserCleanupAtStart = 0,       // $XDG_RUNTIME_DIR, else /run/user/<uid>, else as 2
  kUserTemporaryItems = 1,       // the same
  kLocalTemporaryItems = 2,      // <root>/tmp/kxl-<uid>, used only while it is private to the user
  kUserDesktop = 3,              // user-dirs.dirs, else ~/Desktop
  kUserDocuments = 4,            // user-dirs.dirs, else ~/Documents
  kUserCaches = 5,               // $XDG_CACHE_HOME, else ~/.cache
  kUserPreferences = 6,          // $XDG_CONFIG_HOME, else ~/.config
  kUserApplicationSupport = 7,   // $XDG_DATA_HOME, else ~/.local/share
  kLocalApplicationSupport = 8,  // <root>/var/lib
  kAllUsersApplicationSupport = 9,  // the same; other systems tell them apart
  kLocalFonts = 10,                 // <root>/usr/local/share/fonts
  kSystemFolder = 11,               // <root>/usr/lib
  kLocalSystemFolder = 12,          // the same; other systems tell them apart
  kLocalUtilities = 13,             // <root>/opt
  kFileSystemRoot = 14,             // "/"
};

enum class IfMissing { kFail, kCreate, kIgnore };

// Looks the folder up. With kCreate a missing one is made, ancestors included: a user's folder with
// mode 0700, a machine-wide one with its parent's owner, group and mode. With
// kIgnore the answer is where it would be. False, with out as it was, for a number above 14, for a
// folder that is missing (kFail) or cannot be made, and for a user whose home folder is unknown.
//
// KXL_ROOT, HOME and the XDG variables are read at the first call and kept: hosts and launchers
// change the environment while other threads are in here, and no file may move under a process. A
// relative value of HOME or an XDG variable counts as unset; without HOME the account database
// tells.
bool FindFolder(FolderKind kind, std::string& out, IfMissing ifMissing);

// A path below the machine-wide root: <root>/path. Empty when KXL_ROOT is set and leads nowhere.
std::string MachinePath(std::string_view path);

}  // namespace kxl

#endif  // KXL_PLATFORM_BASE_FOLDERS_H
