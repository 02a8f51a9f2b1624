// Mending with root's rights where others make names.
//
// Whoever owns a folder decides what its names stand for, and may lay a link or exchange a file for
// another between two looks at it. So root mends what a user can redirect with that user's rights:
// it leads no further than he gets himself. What takes root's own rights (giving a file to its
// user, rights for the members of a group) is done to an object that was opened when it was
// examined, below folders in which nobody else has a say.
//
// An ordinary caller's rights are never more than his own; for him nothing of this applies.
#ifndef KXL_TOOLS_KXL_RIGHTS_H
#define KXL_TOOLS_KXL_RIGHTS_H

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "platform/regular_file.h"

namespace tool {

// What became of a mending. A refused one tells why in words, one that failed has none.
struct Mended {
  Mended(bool done) : isDone(done) {}
  static Mended Refused(std::string why) {
    Mended mended = false;
    mended.reason = std::move(why);
    return mended;
  }

  bool isDone;
  std::string reason;
};

using Repair = std::function<Mended()>;

bool IsRoot();

// Whether the machine has other users: one below a KXL_ROOT that only its owner may enter, or that
// is not root's, has none.
bool IsSharedMachine();

// Whether the test succeeds for others: root makes it with the rights of nobody in particular, as
// a member of the group alone if there is one. Anybody else, and root on a machine of his own,
// makes it for himself.
bool SucceedsForOthers(std::optional<gid_t> group, const std::function<bool()>& test);

// Runs the repair of what lies in the folder. Root runs it as the first user on the folder's path
// who can change where that leads, and with his own rights where nobody else can; refused where
// that is open to more than one.
Mended RepairIn(const std::string& folder, const Repair& repair);

// What an object is to have. An owner or group of kAsItIs stays.
struct Rights {
  uid_t owner;
  gid_t group;
  mode_t mode;
  static constexpr uid_t kAsItIs = static_cast<uid_t>(-1);
};

// The same for an ordinary caller, of what is his; no link is followed.
Mended SetRights(const std::string& path, const Rights& rights);

// A file or folder as it was when root examined it. It is kept open, so that nothing that takes its
// name later is mistaken for it.
class ExaminedObject {
 public:
  explicit ExaminedObject(const std::string& path);

  // Why it must not be changed or read at all, in words; empty for none: it is a link or a device,
  // or a file with another name elsewhere, or could not be opened safely.
  std::string WhyNot() const;

  // Whether its content may get to others: they could read it already, or it is empty, or nobody
  // but root can have moved it to where it is.
  bool MayBeShown() const { return mayBeShown_; }

  // Gives it to the owner of the folder, which is his on its whole path, or root's. A file only
  // when it may be shown.
  Mended GiveToOwnerOf(const std::string& folder) const;

  // Gives it the rights; more of them to others than the owner only for a file that may be shown,
  // or whose content is known, and another owner only where nobody but root can have put it.
  enum class Content { kUnknown, kOurs };
  Mended SetRights(const Rights& rights, Content content) const;

  // The content of a regular file.
  bool Read(std::string& text) const;

  // Ours when it is a document with that root, which everybody may see, whoever has put it there.
  Content ContentBy(std::string_view root) const;

 private:
  kxl::FileDescriptor Reopen() const;

  std::string name_;
  kxl::FileDescriptor folder_;
  kxl::FileDescriptor object_;  // for its identity only (O_PATH)
  std::optional<uid_t> user_;   // who can change where the path leads
  std::string reason_;          // why it was not opened
  bool mayBeShown_ = false;
};

// Why root must not write the list anew from what stands at its path, or at its companion's; empty
// for none. What is read there becomes the list, which others read. root is a list's.
std::string WhyNotToTakeOver(const std::string& list, std::string_view root);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_RIGHTS_H
