// Folders, removal and permission modes. Modes are the low twelve bits of st_mode. Every operation
// answers false on failure; none of them throws for what the file system says, none follows a link
// in the last component to change or remove something behind it.
#ifndef KXL_PLATFORM_FILE_SYSTEM_H
#define KXL_PLATFORM_FILE_SYSTEM_H

#include <sys/types.h>

#include <compare>
#include <cstdint>
#include <string>

namespace kxl {

// Modes of what the user's applications and the updater share.
inline constexpr mode_t kSharedFolderMode = 0775;
inline constexpr mode_t kSharedFileMode = 0664;

// Whether path names an object; a link counts as what it points to.
bool PathExists(const std::string& path);
bool IsFolder(const std::string& path);
bool IsLink(const std::string& path);
bool IsEmptyFile(const std::string& path);  // a link is none

// The object's mode; a link counts as what it points to.
bool GetMode(const std::string& path, mode_t& mode);

// When the object's content was last changed; stamps compare as times do.
struct ModificationStamp {
  std::uint32_t seconds = 0;
  std::uint32_t nanoseconds = 0;
  auto operator<=>(const ModificationStamp&) const = default;
};
bool GetModificationStamp(const std::string& path, ModificationStamp& stamp);

// Adds the bits to the object's mode and keeps the others. Like SetSharedMode it needs a mounted
// /proc only for what the caller may not read, and for what is neither file nor folder.
bool AddModeBits(const std::string& path, mode_t bits);

// Gives a folder kSharedFolderMode and anything else kSharedFileMode, whatever it had.
bool SetSharedMode(const std::string& path);

// Makes the folder and every missing ancestor, each with its parent's mode and, as far as the
// caller may give them, its parent's owner and group. True when the folder exists at the end,
// whoever made it; *created tells whether this call made the last component. What cannot be made is
// reported (failure_report.h).
bool CreateFolderTree(const std::string& path, bool* created = nullptr);

// The same for folders that stay the caller's own, with mode 0700.
bool CreatePrivateFolderTree(const std::string& path);

// Whether path lies where everybody makes names and each removes only his own, as in /tmp. What is
// found there under a name that others can foresee may be a trap.
bool IsInTemporaryFolder(const std::string& path);

// Removes one name that is not a folder. True when it is gone at the end.
bool DeleteFile(const std::string& path);

// Removes a file, a link, or a folder with all that is in it; true also when there is nothing. A
// file is kept (false) when the caller owns it, or is in its group, and its mode lets him write it
// neither as its owner, nor as one of its group, nor as anybody. errno tells why it failed.
bool RemoveFileSystemObject(const std::string& path);

// Removes a folder: with its contents, or only when it is empty. False when it is no folder; true
// when somebody else removed it meanwhile.
enum class Contents { kKeep, kDelete };
bool DeleteFolder(const std::string& path, Contents contents);

// Removes what is in the folder. 0, or the errno of the first failure, which ends the walk.
int DeleteFolderContents(const std::string& path);

}  // namespace kxl

#endif  // KXL_PLATFORM_FILE_SYSTEM_H
