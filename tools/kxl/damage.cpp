#include "kxl/damage.h"

#include <cstdio>
#include <ctime>
#include <sstream>

#include "esd/resource_locker.h"
#include "esd/streams.h"
#include "esd/xml_writer.h"
#include "kxl/inspection.h"
#include "kxl/locks.h"
#include "kxl/places.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "stores/missing_components.h"
#include "stores/registered_applications.h"
#include "util/utc_time.h"

namespace tool {

namespace {

constexpr std::uint32_t kPatience = 3000;  // milliseconds

// Somebody at work leaves a file in states that would look like damage.
bool IsAtRest(const std::string& path) { return LookAtLock(path).state != LockState::kHeld; }

bool SetAside(const std::string& path) {
  return std::rename(path.c_str(), (path + ".damaged").c_str()) == 0;
}

Mended UnderLock(const std::string& path, const Repair& repair) {
  return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
    esd::ResourceLocker lock(path, kPatience);
    return lock.Lock() ? repair() : false;
  });
}

// A list's own rule for what is damaged or left behind.
template <typename List>
Repair Recover(const std::string& path) {
  return [path] {
    return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
      List list;
      const std::string why = WhyNotToTakeOver(path);
      if (!why.empty()) return Mended::Refused(why);
      if (IsRoot()) list.RefuseLinks();
      return list.Recover();
    });
  };
}

struct Look {
  esd::ReadStatus status = esd::ReadStatus::kUnreadable;
  bool isWritable = true;  // what was read can be written again
};

Look LookAt(const std::string& path) {
  esd::ExpatDOMBuilder builder;
  if (!builder.Init()) return {};
  builder.ParseFile(path, false);
  const bool isParsed = builder.LastRead() == esd::ReadStatus::kParsed;
  return {builder.LastRead(), !isParsed || esd::ReadsBack(*builder.Document())};
}

// The lines whose time exists; the file has no damage when these are all of them.
std::string ReadableHolds(const std::string& text) {
  std::istringstream lines(text);
  std::string readable;
  for (std::string line; std::getline(lines, line);) {
    const std::string content = line.substr(0, line.find_last_not_of("\r \t") + 1);
    const std::size_t tab = content.find('\t');
    try {
      if (tab != std::string::npos) kxl::ParseUtc(content.substr(tab + 1));
      readable += line + '\n';
    } catch (const std::exception&) {
      // Dropped: this line makes every call of every application fail.
    }
  }
  return readable;
}

Mended MendHolds(const std::string& path) {
  return UnderLock(path, [&path] {
    std::string text;
    if (kxl::ReadRegularFile(path, text) != kxl::OpenStatus::kOpened) return false;
    if (!SetAside(path)) return false;
    kxl::ESDofstream file(path, kxl::FileAccess::kReplace, kxl::Links::kRefuse);
    file.Write(ReadableHolds(text));
    return file.Close();
  });
}

void AddHolds(std::vector<Finding>& findings) {
  const std::string path = HoldsPath();
  std::string text;
  const kxl::OpenStatus status = kxl::ReadRegularFile(path, text);
  if (status == kxl::OpenStatus::kOpened && ReadableHolds(text).size() < text.size()) {
    findings.push_back({Severity::kWrong, "damaged", path, kThisUser,
                        "a line has a time that does not exist, and no hold can be set or read",
                        "set the file aside and keep its other lines",
                        [path] { return MendHolds(path); }});
  } else if (status != kxl::OpenStatus::kOpened && status != kxl::OpenStatus::kMissing) {
    findings.push_back({Severity::kWrong,
                        "unreadable",
                        path,
                        kThisUser,
                        "no hold can be set or read",
                        "see to its rights, or move away what stands there",
                        {}});
  }
}

void AddDocument(std::vector<Finding>& findings, const std::string& path, const Repair& repair) {
  const auto [status, isWritable] = LookAt(path);
  if (status == esd::ReadStatus::kDamaged && IsAtRest(path) &&
      LookAt(path).status == esd::ReadStatus::kDamaged) {
    findings.push_back({Severity::kWrong, "damaged", path, kThisUser,
                        "it is no document within the limits, and nobody can read it",
                        "set it aside as " + path + ".damaged and begin anew", repair});
  } else if (status != esd::ReadStatus::kParsed && status != esd::ReadStatus::kMissing &&
             status != esd::ReadStatus::kDamaged) {
    findings.push_back({Severity::kWrong,
                        "unreadable",
                        path,
                        kThisUser,
                        "it " + ReadProblem(status),
                        "see to its rights, or move away what stands there",
                        {}});
  } else if (!isWritable) {
    findings.push_back({Severity::kWrong,
                        "unwritable",
                        path,
                        kThisUser,
                        "an attribute holds a character that cannot be written, so nobody can "
                        "change the file any more",
                        "take the character, or its element, out of the file",
                        {}});
  }
}

void AddCompanion(std::vector<Finding>& findings, const std::string& path, const Repair& repair) {
  const std::string companion = path + "_";
  if (!kxl::PathExists(companion) || !IsAtRest(path) || !kxl::PathExists(companion)) return;
  findings.push_back({Severity::kWrong, "left-journal", companion, kThisUser,
                      "a process was killed while it wrote " + path,
                      "take it over when it is whole, and remove it", repair});
}

void AddSetAside(std::vector<Finding>& findings, const std::string& path) {
  if (!kxl::PathExists(path + ".damaged")) return;
  findings.push_back({Severity::kNote,
                      "set-aside",
                      path + ".damaged",
                      kThisUser,
                      "a damaged file was kept here",
                      "kxl doctor --fix --restore puts back the entries of a list that can still "
                      "be read; remove the file when it is of no more use",
                      {}});
}

}  // namespace

std::vector<Finding> FindDamage() {
  std::vector<Finding> findings;
  const std::string preferences = PreferencesPath();
  const std::string holds = HoldsPath();
  const auto addList = [&](const std::string& path, const Repair& recover) {
    if (path.empty()) return;
    AddDocument(findings, path, recover);
    AddCompanion(findings, path, recover);
    AddSetAside(findings, path);
  };
  addList(ApplicationsPath(), Recover<kxl::KeldaUpdaterRegistrationManager>(ApplicationsPath()));
  addList(ComponentsPath(), Recover<kxl::KeldaUpdaterMissingCompsManager>(ComponentsPath()));
  if (!preferences.empty()) {
    AddDocument(findings, preferences, [preferences] {
      return UnderLock(preferences, [&] { return SetAside(preferences); });
    });
    AddSetAside(findings, preferences);
  }
  if (!holds.empty()) {
    AddHolds(findings);
    AddCompanion(findings, holds, [holds] {
      return UnderLock(holds, [&] { return kxl::DeleteFile(holds + "_"); });
    });
    AddSetAside(findings, holds);
  }
  return findings;
}

}  // namespace tool
