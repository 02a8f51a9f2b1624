#include "platform/base_folders.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <boost/static_string.hpp>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>

#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "platform/regular_file.h"
#include "platform/user_dirs.h"

namespace kxl {

namespace {

// Plain storage without a destructor: threads of the host may still look folders up while the
// process exits.
using StoredPath = boost::static_string<PATH_MAX>;

std::string_view View(const StoredPath& path) { return {path.data(), path.size()}; }

StoredPath AbsoluteOrNone(std::string_view path) {
  if (!path.starts_with('/') || path.size() >= PATH_MAX) return {};
  return StoredPath(path.data(), path.size());
}

StoredPath Variable(const char* name) {
  const char* value = secure_getenv(name);
  return value == nullptr ? StoredPath() : AbsoluteOrNone(value);
}

StoredPath HomeFolder() {
  const StoredPath home = Variable("HOME");
  if (!home.empty()) return home;
  passwd user;
  passwd* found = nullptr;
  std::array<char, 16384> buffer;
  getpwuid_r(geteuid(), &user, buffer.data(), buffer.size(), &found);
  return found == nullptr ? StoredPath() : AbsoluteOrNone(found->pw_dir);
}

// "/" without a prefix; empty for one that leads nowhere, which must not lead to the real machine.
StoredPath RootPrefix() {
  const char* value = secure_getenv("KXL_ROOT");
  if (value == nullptr || *value == '\0') return StoredPath("/");
  if (*value == '/') return AbsoluteOrNone(value);
  std::array<char, PATH_MAX> folder;
  if (getcwd(folder.data(), folder.size()) == nullptr) return {};
  StoredPath path = AbsoluteOrNone(folder.data());
  if (path.empty() || path.size() + 1 + std::strlen(value) >= PATH_MAX) return {};
  path += '/';
  path += value;
  return path;
}

// Made without memory of the heap: an exception that passes through call_once ends the process
// where the C library cannot load the unwinder for it.
struct Environment {
  StoredPath root = RootPrefix();
  StoredPath home = HomeFolder();
  StoredPath runtime = Variable("XDG_RUNTIME_DIR");
  StoredPath cache = Variable("XDG_CACHE_HOME");
  StoredPath config = Variable("XDG_CONFIG_HOME");
  StoredPath data = Variable("XDG_DATA_HOME");
};

// Unlike a static variable of the function, the flag begins anew in a child that is forked while
// another thread is at it.
const Environment& ProcessEnvironment() {
  alignas(Environment) static std::array<std::byte, sizeof(Environment)> storage;
  static std::once_flag flag;
  std::call_once(flag, [] { new (storage.data()) Environment; });
  return *std::launder(reinterpret_cast<const Environment*>(storage.data()));
}

// The folder that an XDG variable names, else the one below the home folder; empty without a home.
std::string UserFolder(const StoredPath& variable, std::string_view belowHome) {
  if (!variable.empty()) return std::string(View(variable));
  const StoredPath& home = ProcessEnvironment().home;
  if (home.empty()) return {};
  return JoinPath(View(home), belowHome);
}

std::string ChosenFolder(std::string_view key, std::string_view belowHome) {
  const Environment& environment = ProcessEnvironment();
  const std::string config = UserFolder(environment.config, ".config");
  if (config.empty()) return {};
  std::string text;
  ReadRegularFile(JoinPath(config, "user-dirs.dirs"), text);
  const std::string chosen = FindUserDir(text, key, View(environment.home));
  return chosen.empty() ? UserFolder({}, belowHome) : chosen;
}

bool IsOwnFolder(const std::string& path, mode_t forbidden) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == geteuid() &&
         (info.st_mode & forbidden) == 0;
}

// Anybody can make a name in the temporary folder, so one that exists is taken only when nobody
// else can have laid anything into it.
bool FindLocalTemporaryItems(std::string& out, IfMissing ifMissing) {
  const std::string parent = MachinePath("tmp");
  if (parent.empty()) return false;
  const std::string path = JoinPath(parent, "kxl-").append(std::to_string(geteuid()));
  if (ifMissing == IfMissing::kCreate &&
      !(CreateFolderTree(parent) && CreatePrivateFolderTree(path))) {
    return false;
  }
  const bool isTaken = ifMissing != IfMissing::kIgnore || PathExists(path);
  if (isTaken && !IsOwnFolder(path, S_IRWXG | S_IRWXO)) {
    if (ifMissing == IfMissing::kCreate) ReportFailure(path, EPERM);  // somebody else's
    return false;
  }
  out = path;
  return true;
}

bool FindUserFolder(const std::string& path, std::string& out, IfMissing ifMissing) {
  if (path.empty()) return false;
  if (ifMissing != IfMissing::kIgnore && !IsFolder(path) &&
      !(ifMissing == IfMissing::kCreate && CreatePrivateFolderTree(path))) {
    return false;
  }
  out = path;
  return true;
}

bool FindUserTemporaryItems(std::string& out, IfMissing ifMissing) {
  const StoredPath& runtime = ProcessEnvironment().runtime;
  if (!runtime.empty()) return FindUserFolder(std::string(View(runtime)), out, ifMissing);
  const std::string path = JoinPath("/run/user", std::to_string(geteuid()));
  if (!IsOwnFolder(path, 0)) return FindLocalTemporaryItems(out, ifMissing);
  out = path;
  return true;
}

bool FindMachineFolder(const std::string& path, std::string& out, IfMissing ifMissing) {
  if (path.empty()) return false;
  if (ifMissing != IfMissing::kIgnore && !IsFolder(path)) {
    if (ifMissing == IfMissing::kFail) ReportFailure(path, PathExists(path) ? ENOTDIR : errno);
    if (ifMissing == IfMissing::kFail || !CreateFolderTree(path)) return false;
  }
  out = path;
  return true;
}

}  // namespace

std::string MachinePath(std::string_view path) {
  const StoredPath& root = ProcessEnvironment().root;
  return root.empty() ? std::string() : JoinPath(View(root), path);
}

bool FindFolder(FolderKind kind, std::string& out, IfMissing ifMissing) {
  const Environment& environment = ProcessEnvironment();
  switch (kind) {
    case kUserCleanupAtStart:
    case kUserTemporaryItems:
      return FindUserTemporaryItems(out, ifMissing);
    case kLocalTemporaryItems:
      return FindLocalTemporaryItems(out, ifMissing);
    case kUserDesktop:
      return FindUserFolder(ChosenFolder("XDG_DESKTOP_DIR", "Desktop"), out, ifMissing);
    case kUserDocuments:
      return FindUserFolder(ChosenFolder("XDG_DOCUMENTS_DIR", "Documents"), out, ifMissing);
    case kUserCaches:
      return FindUserFolder(UserFolder(environment.cache, ".cache"), out, ifMissing);
    case kUserPreferences:
      return FindUserFolder(UserFolder(environment.config, ".config"), out, ifMissing);
    case kUserApplicationSupport:
      return FindUserFolder(UserFolder(environment.data, ".local/share"), out, ifMissing);
    case kLocalApplicationSupport:
    case kAllUsersApplicationSupport:
      return FindMachineFolder(MachinePath("var/lib"), out, ifMissing);
    case kLocalFonts:
      return FindMachineFolder(MachinePath("usr/local/share/fonts"), out, ifMissing);
    case kSystemFolder:
    case kLocalSystemFolder:
      return FindMachineFolder(MachinePath("usr/lib"), out, ifMissing);
    case kLocalUtilities:
      return FindMachineFolder(MachinePath("opt"), out, ifMissing);
    case kFileSystemRoot:
      out = "/";
      return true;
  }
  return false;
}

}  // namespace kxl
