#include "platform/accounts.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/system_version.h"

namespace kxl {

namespace {

constexpr std::uint32_t kAdminGroupSince = 0x1030;

// An entry of the account database together with the buffer that its pointers lead into.
template <typename Entry>
class AccountEntry {
 public:
  // call is one of the get..._r functions, bound to its key.
  template <typename Call>
  explicit AccountEntry(Call call) {
    do {
      buffer_.resize(buffer_.empty() ? kUsualSize : buffer_.size() * 2,
                     boost::container::default_init);
      error_ = call(&entry_, buffer_.data(), buffer_.size(), &found_);
    } while (error_ == ERANGE);
    if (error_ != 0) found_ = nullptr;
  }
  AccountEntry(const AccountEntry&) = delete;
  AccountEntry& operator=(const AccountEntry&) = delete;

  explicit operator bool() const { return found_ != nullptr; }
  // Whether the database has answered that there is no such entry, as against not at all.
  bool IsKnownMissing() const {
    return found_ == nullptr && (error_ == 0 || error_ == ENOENT || error_ == ESRCH);
  }
  const Entry* operator->() const { return found_; }

 private:
  static constexpr std::size_t kUsualSize = 1024;  // bytes

  boost::container::small_vector<char, kUsualSize> buffer_;
  Entry entry_;
  Entry* found_ = nullptr;
  int error_ = 0;
};

AccountEntry<group> GroupNamed(const char* name) {
  return AccountEntry<group>([name](group* entry, char* buffer, std::size_t size, group** found) {
    return getgrnam_r(name, entry, buffer, size, found);
  });
}

AccountEntry<group> GroupWithId(gid_t id) {
  return AccountEntry<group>([id](group* entry, char* buffer, std::size_t size, group** found) {
    return getgrgid_r(id, entry, buffer, size, found);
  });
}

AccountEntry<passwd> UserWithId(uid_t id) {
  return AccountEntry<passwd>([id](passwd* entry, char* buffer, std::size_t size, passwd** found) {
    return getpwuid_r(id, entry, buffer, size, found);
  });
}

bool IsMember(uid_t userId, const AccountEntry<group>& group) {
  if (userId == 0) return true;  // root belongs to the administrator groups by nature
  const AccountEntry<passwd> user = UserWithId(userId);
  if (!user) return false;
  if (user->pw_gid == group->gr_gid) return true;
  for (char** member = group->gr_mem; *member != nullptr; ++member) {
    if (std::strcmp(*member, user->pw_name) == 0) return true;
  }
  return false;
}

std::vector<gid_t> ProcessGroups() {
  const int count = getgroups(0, nullptr);
  if (count < 1) return {};
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  groups.resize(static_cast<std::size_t>(std::max(0, getgroups(count, groups.data()))));
  return groups;
}

}  // namespace

AdminRule FindAdminRule() { return FindAdminRule(PackedSystemVersion()); }

AdminRule FindAdminRule(std::uint32_t systemVersion) {
  {
    const auto group = GroupNamed(systemVersion < kAdminGroupSince ? "wheel" : "admin");
    if (group && IsMember(getuid(), group)) return AdminRule::kAccountDatabase;
  }
  const std::string_view wanted =
      systemVersion > 0 && systemVersion < kAdminGroupSince ? "wheel" : "admin";
  for (const gid_t id : ProcessGroups()) {
    const auto group = GroupWithId(id);
    if (group.IsKnownMissing()) return AdminRule::kUnknownGroup;
    if (group && group->gr_name == wanted) return AdminRule::kProcessGroups;
  }
  return AdminRule::kNone;
}

}  // namespace kxl
