#include <fcntl.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "esd/resource_locker.h"
#include "kxl/examinations.h"
#include "kxl/places.h"
#include "platform/base_folders.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "stores/admin_prefs.h"

namespace tool {

namespace {

bool IsFlatpak() { return kxl::PathExists("/.flatpak-info"); }

struct Mount {
  std::string point;  // empty when it is not known
  std::string type;
};

// The mount that the path lies on, or would, by its line in the kernel's list:
// "36 35 98:0 /root /mount/point rw - ext4 /dev/sda rw".
Mount MountOf(std::string path) {
  struct statx info {};
  while (statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &info) != 0 && path != "/") {
    path = kxl::ParentPath(path);
  }
  std::ifstream mounts("/proc/self/mountinfo");
  for (std::string line; std::getline(mounts, line);) {
    std::istringstream fields(line);
    std::uint64_t id = 0;
    std::string skipped;
    Mount mount;
    fields >> id >> skipped >> skipped >> skipped >> mount.point;
    while (fields >> skipped && skipped != "-") {
    }
    fields >> mount.type;
    if (id == info.stx_mnt_id) return mount;
  }
  return {};
}

// Where this process runs. Who starts a container often means a machine of its own.
struct Sandbox {
  std::string name;  // in words; empty when it is no sandbox that can be told
  bool isOwnMachine = false;
};

Sandbox FindSandbox() {
  if (IsFlatpak()) return {"a Flatpak sandbox"};
  for (const char* const marker : {"/.dockerenv", "/run/.containerenv"}) {
    if (kxl::PathExists(marker)) return {std::string("a container (") + marker + ")", true};
  }
  if (const char* const manager = secure_getenv("container")) {
    return {std::string("a container (") + manager + ")", true};
  }
  // A system's own devices are the kernel's.
  return {MountOf("/dev").type == "tmpfs" ? "a sandbox with devices of its own" : ""};
}

// What Flatpak was asked to share of the machine's memory.
bool SharesFlatpakMemory() {
  std::ifstream info("/.flatpak-info");
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("devices=")) return (";" + line.substr(8)).find(";shm;") != line.npos;
  }
  return false;
}

// What a sandbox is made of itself is in memory or laid over an image, and goes with it. Flatpak
// has a folder of each application's own at /var.
bool IsTheMachines(const Mount& mount) {
  const bool isOwn = mount.type == "tmpfs" || mount.type == "overlay";
  return !isOwn && !(mount.point == "/var" && IsFlatpak());
}

// Not for certain: a mount of its own there may be the machine's or the container's.
bool HasOwnMemory(const std::string& locks) {
  if (IsFlatpak()) return !SharesFlatpakMemory();
  const std::string point = MountOf(locks).point;
  return !point.empty() && point != locks;
}

}  // namespace

void ExamineSandbox(Findings& findings) {
  const Sandbox sandbox = FindSandbox();
  // A root of one's own is shared with nobody by nature.
  if (sandbox.name.empty() || kxl::MachinePath("etc") != "/etc") return;
  const std::string shared = kxl::MachinePath("var/lib/Kelda/Updater6");
  const std::string locks = kxl::ParentPath(esd::SemaphorePath({}));
  const auto add = [&](Severity severity, const char* kind, const std::string& path,
                       const char* who, const char* meaning, const char* advice) {
    findings.push_back(
        {severity, kind, path, who, "this is " + sandbox.name + meaning, advice, {}});
  };
  if (!IsTheMachines(MountOf(shared))) {
    add(sandbox.isOwnMachine ? Severity::kNote : Severity::kWrong, "sandbox-list", shared,
        kAdministrators,
        ", and the folder is its own: what is registered here is nowhere else, and goes with it",
        "share the machine's folder with the sandbox");
  } else if (HasOwnMemory(locks)) {
    add(Severity::kWrong, "sandbox-locks", locks, kEverybody,
        ", and the folder is its own: nobody outside sees the locks that are taken here",
        "share the machine's /dev/shm with the sandbox");
  }
  const std::string list = kxl::AdminPrefsPath();
  if (sandbox.isOwnMachine || kxl::PathExists(list)) return;
  add(Severity::kNote, "sandbox-switch", list, kEverybody,
      ", and there is no such file in it: if the machine has one, updates stay on here",
      "share the machine's file with the sandbox");
}

}  // namespace tool
