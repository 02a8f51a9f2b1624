#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "esd/xml_parser.h"
#include "kxl/rights.h"
#include "platform/base_folders.h"
#include "platform/file_system.h"
#include "platform/path.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr uid_t kRoot = 0;
constexpr char kHardLinks[] = "it has other names elsewhere (hard links)";

// Whether others than its owner make names there. The group 0 is root's.
bool IsOpenToOthers(const struct stat& folder) {
  return (folder.st_mode & S_IWOTH) != 0 ||
         ((folder.st_mode & S_IWGRP) != 0 && folder.st_gid != kRoot);
}

// The way to a folder, component by component.
class Way {
 public:
  explicit Way(const std::string& path) {
    Restart();
    struct stat root;
    if (fstat(folder_.get(), &root) == 0) trusted_ = root.st_uid;
    Add(path);
    while (!rest_.empty() && reason_.empty()) Step();
    if (!reason_.empty()) folder_ = {};
  }

  // Not valid when the folder is missing or not to be reached safely; Reason() tells.
  kxl::FileDescriptor& Folder() { return folder_; }
  const std::string& Reason() const { return reason_; }

  // The first user on the way who can change where it leads, else root; none where a group or
  // everybody can.
  const std::optional<uid_t>& User() const { return user_; }
  gid_t Group() const { return group_; }  // of what he owns there

  // In a user namespace "/" may belong to somebody whom the namespace does not know.
  bool IsTrusted(uid_t user) const { return user == kRoot || user == trusted_; }

 private:
  void Restart() { folder_ = kxl::OpenAt(AT_FDCWD, "/", O_PATH | O_DIRECTORY); }

  // The last component comes first in rest_.
  void Add(const fs::path& path) {
    const std::vector<fs::path> names(path.begin(), path.end());
    for (auto name = names.rbegin(); name != names.rend(); ++name) rest_.push_back(*name);
  }

  void Step();
  void FollowLink(int link);

  kxl::FileDescriptor folder_;
  std::vector<std::string> rest_;
  std::string reason_;
  std::optional<uid_t> user_ = kRoot;
  gid_t group_ = 0;
  uid_t trusted_ = kRoot;
  int links_ = 0;
};

void Way::Step() {
  const std::string name = std::move(rest_.back());
  rest_.pop_back();
  if (name.empty() || name == "/") return;
  struct stat above;
  struct stat info;
  kxl::FileDescriptor next = kxl::OpenAt(folder_.get(), name, O_PATH | O_NOFOLLOW);
  const bool isThere = next.valid() && fstat(next.get(), &info) == 0;
  if (fstat(folder_.get(), &above) != 0) {
    reason_ = "its folder cannot be reached";
    return;
  }
  // Where the folder is sticky, a name that exists is its owner's.
  const bool isHeld = isThere && (above.st_mode & S_ISVTX) != 0;
  if (user_ == kRoot && IsOpenToOthers(above) && !isHeld) {
    user_.reset();
    reason_ = "others than root can change where its path leads";
    return;
  }
  if (!isThere) {
    reason_ = "its folder cannot be reached";
    return;
  }
  if (user_ == kRoot && !IsTrusted(info.st_uid)) {
    user_ = info.st_uid;
    group_ = info.st_gid;
  }
  if (S_ISLNK(info.st_mode)) return FollowLink(next.get());
  if (!IsTrusted(info.st_uid) && user_ != info.st_uid) {
    reason_ = "its path leads through folders of several users";
  }
  folder_ = std::move(next);
}

void Way::FollowLink(int link) {
  constexpr int kMostLinks = 40;
  std::array<char, PATH_MAX> target;
  const ssize_t size = readlinkat(link, "", target.data(), target.size());
  if (user_ != kRoot) {
    reason_ = "a user's link leads to it";
  } else if (size <= 0 || ++links_ > kMostLinks) {
    reason_ = "its folder cannot be reached";
  } else {
    const fs::path path(std::string(target.data(), static_cast<std::size_t>(size)));
    if (path.is_absolute()) Restart();
    Add(path);
  }
}

// Another user's rights in place of root's, for a scope.
class RightsOf {
 public:
  // Without an account, those of the group alone.
  RightsOf(uid_t user, gid_t group, const passwd* account) : ownGroup_(getegid()) {
    const int count = getgroups(0, nullptr);
    ownGroups_.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    if (count < 0 || getgroups(count, ownGroups_.data()) < 0) return;
    const bool hasGroups = account == nullptr ? setgroups(1, &group) == 0
                                              : initgroups(account->pw_name, account->pw_gid) == 0;
    hasChanged_ = true;
    hasRights_ = hasGroups && setegid(account == nullptr ? group : account->pw_gid) == 0 &&
                 seteuid(user) == 0;
  }
  ~RightsOf() {
    if (!hasChanged_) return;
    const bool isBack = seteuid(kRoot) == 0 && setegid(ownGroup_) == 0 &&
                        setgroups(ownGroups_.size(), ownGroups_.data()) == 0;
    if (!isBack && hasRights_) std::abort();  // whatever follows would go on as somebody else
  }
  RightsOf(const RightsOf&) = delete;
  RightsOf& operator=(const RightsOf&) = delete;

  bool AreHeld() const { return hasRights_; }

 private:
  gid_t ownGroup_;
  std::vector<gid_t> ownGroups_;
  bool hasChanged_ = false;
  bool hasRights_ = false;
};

}  // namespace

bool IsRoot() { return geteuid() == kRoot; }

Mended RepairIn(const std::string& folder, const Repair& repair) {
  if (!IsRoot()) return repair();
  const Way way(folder);
  if (!way.User()) return Mended::Refused(way.Reason());
  if (*way.User() == kRoot) return repair();
  const RightsOf rights(*way.User(), way.Group(), getpwuid(*way.User()));
  if (rights.AreHeld()) return repair();
  return Mended::Refused("it is a user's, and root cannot act as him");
}

bool IsSharedMachine() {
  struct stat info;
  std::string path = kxl::MachinePath("");
  if (stat(path.c_str(), &info) != 0 || info.st_uid != kRoot) return false;
  while (stat(path.c_str(), &info) == 0 && (info.st_mode & S_IXOTH) != 0) {
    if (path == kxl::ParentPath(path)) return true;
    path = kxl::ParentPath(path);
  }
  return false;
}

bool SucceedsForOthers(std::optional<gid_t> group, const std::function<bool()>& test) {
  constexpr uid_t kNobody = 65534;
  if (!IsRoot() || !IsSharedMachine()) return test();
  const RightsOf rights(kNobody, group.value_or(kNobody), nullptr);
  return !rights.AreHeld() || test();  // where root cannot try, nothing is known
}

Mended SetRights(const std::string& path, const Rights& rights) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return false;
  if (!S_ISDIR(info.st_mode) && info.st_nlink > 1) return Mended::Refused(kHardLinks);
  const bool isOwned =
      fchownat(AT_FDCWD, path.c_str(), rights.owner, rights.group, AT_SYMLINK_NOFOLLOW) == 0;
  const int why = errno;
  // As much as there is: a list that others may write at last is better than none.
  if (fchmodat(AT_FDCWD, path.c_str(), rights.mode, AT_SYMLINK_NOFOLLOW) != 0) return false;
  errno = why;
  return isOwned;
}

ExaminedObject::ExaminedObject(const std::string& path)
    : name_(fs::path(path).filename().native()) {
  Way way(kxl::ParentPath(path));
  user_ = way.User();
  reason_ = way.Reason();
  folder_ = std::move(way.Folder());
  if (!folder_.valid()) return;
  struct stat folder;
  struct stat info;
  // In this order: nobody moves anything into a folder that is root's alone.
  const bool hasFolder = fstat(folder_.get(), &folder) == 0;
  object_ = kxl::OpenAt(folder_.get(), name_, O_PATH | O_NOFOLLOW);
  if (!hasFolder || !object_.valid() || fstat(object_.get(), &info) != 0) {
    reason_ = "it cannot be opened";
    return;
  }
  mayBeShown_ = (info.st_mode & S_IROTH) != 0 || info.st_size == 0 ||
                (user_ == kRoot && way.IsTrusted(folder.st_uid) && !IsOpenToOthers(folder));
}

std::string ExaminedObject::WhyNot() const {
  struct stat info;
  if (!reason_.empty()) return reason_;
  if (fstat(object_.get(), &info) != 0) return "it cannot be opened";
  if (S_ISDIR(info.st_mode)) return {};
  if (S_ISLNK(info.st_mode)) return "it is a link";
  if (S_ISBLK(info.st_mode) || S_ISCHR(info.st_mode)) return "it is a device";
  return info.st_nlink == 1 ? std::string() : kHardLinks;
}

std::string WhyNotToTakeOver(const std::string& list, std::string_view root) {
  if (!IsRoot()) return {};
  for (const std::string& path : {list, list + "_"}) {
    if (!kxl::PathExists(path) && !kxl::IsLink(path)) continue;
    const ExaminedObject object(path);
    if (!object.WhyNot().empty()) return path + ": " + object.WhyNot();
    if (path != list && !object.MayBeShown() &&
        object.ContentBy(root) != ExaminedObject::Content::kOurs) {
      return path + ": others could not read it";
    }
  }
  return {};
}

kxl::FileDescriptor ExaminedObject::Reopen() const {
  struct stat examined;
  struct stat info;
  kxl::FileDescriptor object = kxl::OpenAt(folder_.get(), name_, O_RDONLY | O_NOFOLLOW);
  const bool isSame = object.valid() && fstat(object_.get(), &examined) == 0 &&
                      fstat(object.get(), &info) == 0 && info.st_dev == examined.st_dev &&
                      info.st_ino == examined.st_ino;
  return isSame ? std::move(object) : kxl::FileDescriptor();
}

Mended ExaminedObject::GiveToOwnerOf(const std::string& folder) const {
  std::string why = WhyNot();
  if (!why.empty()) return Mended::Refused(why);
  struct stat info;
  struct stat his;
  Way way(folder);
  if (!way.Folder().valid() || fstat(way.Folder().get(), &his) != 0) {
    return Mended::Refused(way.Reason());
  }
  const bool isRoots = way.User() == kRoot && user_ == kRoot && way.IsTrusted(his.st_uid);
  if (!isRoots && (way.User() != his.st_uid || user_ != his.st_uid)) {
    return Mended::Refused("its path leads through folders of several users");
  }
  if (fstat(object_.get(), &info) != 0) return false;
  if (S_ISREG(info.st_mode) && !mayBeShown_) {
    return Mended::Refused("others could not read it, and he may have moved it here");
  }
  return fchownat(object_.get(), "", his.st_uid, his.st_gid, AT_EMPTY_PATH) == 0;
}

Mended ExaminedObject::SetRights(const Rights& rights, Content content) const {
  std::string why = WhyNot();
  if (!why.empty()) return Mended::Refused(why);
  struct stat info;
  if (fstat(object_.get(), &info) != 0) return false;
  const bool isGiven = (rights.owner != Rights::kAsItIs && rights.owner != info.st_uid) ||
                       (rights.group != Rights::kAsItIs && rights.group != info.st_gid);
  if (isGiven && user_ != kRoot) {
    return Mended::Refused("others than root can change where its path leads");
  }
  const bool isForOthers = isGiven || (rights.mode & ~info.st_mode & (S_IRWXG | S_IRWXO)) != 0;
  if (S_ISREG(info.st_mode) && isForOthers && !mayBeShown_ && content == Content::kUnknown) {
    return Mended::Refused("others may have moved it here, and could not read it");
  }
  const kxl::FileDescriptor object = Reopen();
  if (!object.valid()) return Mended::Refused("something else has taken its name");
  return fchown(object.get(), rights.owner, rights.group) == 0 &&
         kxl::SetMode(object.get(), rights.mode);
}

bool ExaminedObject::Read(std::string& text) const {
  struct stat info;
  if (!WhyNot().empty() || fstat(object_.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
  const kxl::FileDescriptor file = Reopen();
  return file.valid() && kxl::ReadToEnd(file.get(), kxl::SizeInMemory(info.st_size), text);
}

ExaminedObject::Content ExaminedObject::ContentBy(std::string_view root) const {
  std::string text;
  esd::ExpatDOMBuilder builder;
  if (root.empty() || !Read(text) || !builder.Init()) return Content::kUnknown;
  const bool isOurs = builder.ParseText(text) && esd::FindChild(builder.Document(), root);
  return isOurs ? Content::kOurs : Content::kUnknown;
}

}  // namespace tool
