#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <sstream>

#include "esd/resource_locker.h"
#include "esd/streams.h"
#include "esd/xml_parser.h"
#include "esd/xml_writer.h"
#include "kxl/examinations.h"
#include "kxl/inspection.h"
#include "kxl/locks.h"
#include "kxl/places.h"
#include "kxl/set_aside.h"
#include "kxl/unwritable.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "stores/missing_components.h"
#include "stores/registered_applications.h"
#include "util/utc_time.h"

namespace tool {

namespace {

constexpr std::uint32_t kPatience = 3000;  // milliseconds
constexpr char kLocked[] = "somebody else holds its lock";

// Somebody at work leaves a file in states that would look like damage.
bool IsAtRest(const std::string& path) { return LookAtLock(path).state != LockState::kHeld; }

Mended UnderLock(const std::string& path, const Repair& repair) {
  return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
    esd::ResourceLocker lock(path, kPatience);
    return lock.Lock() ? repair() : Mended::Refused(kLocked);
  });
}

// A list's own rules, for whoever holds its lock.
template <typename List>
class Patient : public List {
 public:
  // What is damaged or left behind.
  Mended Mend() {
    if (!MakeRoomForSetAside(this->Path())) return false;
    return this->Recover();
  }

  Mended TakeOut() {
    this->Load();
    if (this->LastRead() != esd::ReadStatus::kParsed) return Mended::Refused("it cannot be read");
    if (!MakeRoomForSetAside(this->Path())) return false;
    const std::string aside = this->Path() + ".damaged";
    kxl::ESDofstream file(aside, kxl::FileAccess::kReplace, kxl::Links::kRefuse);
    file.Write(TakeOutUnwritable(this->Root()));
    // On the disk before the list is without it.
    const bool isKept = file.Sync();
    if (file.Close() && isKept && this->Save()) return true;
    const int why = errno;
    kxl::DeleteFile(aside);
    errno = why;
    return false;
  }
};

template <typename List>
Repair Treat(const std::string& path, Mended (Patient<List>::*treatment)()) {
  return [path, treatment] {
    return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
      Patient<List> list;
      const std::string why = WhyNotToTakeOver(path, List::ElementName());
      if (!why.empty()) return Mended::Refused(why);
      if (IsRoot()) list.RefuseLinks();
      const kxl::FileLock lock(list);
      return lock.IsHeld() ? (list.*treatment)() : Mended::Refused(kLocked);
    });
  };
}

// The whole file is kept, since a write in its place may fail halfway.
Mended TakeOutOfPreferences(const std::string& path) {
  return UnderLock(path, [&path]() -> Mended {
    esd::ExpatDOMBuilder builder;
    std::string text;
    if (!builder.Init() || !builder.ParseFile(path, false)) {
      return Mended::Refused("it cannot be read");
    }
    for (const esd::XMLDocumentNode* const root : builder.Document()->GetChildren()) {
      TakeOutUnwritable(esd::FindChild(builder.Document(), root->GetName()));
    }
    if (!esd::PrintNode(*builder.Document(), text)) return Mended::Refused("it is too large");
    if (!SetAside(path)) return false;
    kxl::ESDofstream file(path, kxl::FileAccess::kReplace, kxl::Links::kRefuse);
    file.Write(text);
    return file.Close();
  });
}

struct Look {
  esd::ReadStatus status = esd::ReadStatus::kUnreadable;
  std::vector<std::string> unwritable = {};
  esd::XMLNodePointer document = {};
};

Look LookAt(const std::string& path) {
  esd::ExpatDOMBuilder builder;
  if (!builder.Init()) return {};
  builder.ParseFile(path, false);
  if (builder.LastRead() != esd::ReadStatus::kParsed) return {builder.LastRead()};
  return {builder.LastRead(), UnwritableEntries(builder.Document()), builder.Document()};
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
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
  return UnderLock(path, [&path]() -> Mended {
    std::string text;
    if (kxl::ReadRegularFile(path, text) != kxl::OpenStatus::kOpened) return false;
    if (!SetAside(path)) return false;
    kxl::ESDofstream file(path, kxl::FileAccess::kReplace, kxl::Links::kRefuse);
    file.Write(ReadableHolds(text));
    return file.Close();
  });
}

void AddUnreadable(Findings& findings, const std::string& path, const std::string& meaning) {
  findings.push_back({Severity::kWrong,
                      "unreadable",
                      path,
                      kThisUser,
                      meaning,
                      "see to its rights, or move away what stands there",
                      {}});
}

void AddHolds(Findings& findings) {
  const std::string path = HoldsPath();
  std::string text;
  const kxl::OpenStatus status = kxl::ReadRegularFile(path, text);
  if (status == kxl::OpenStatus::kOpened && ReadableHolds(text).size() < text.size()) {
    findings.push_back({Severity::kWrong, "damaged", path, kThisUser,
                        "a line has a time that does not exist, and no hold can be set or read",
                        "set the file aside and keep its other lines",
                        [path] { return MendHolds(path); }});
  } else if (status != kxl::OpenStatus::kOpened && status != kxl::OpenStatus::kMissing &&
             status != kxl::OpenStatus::kFolder) {
    AddUnreadable(findings, path, "no hold can be set or read");
  }
}

void AddDocument(Findings& findings, const std::string& path, const char* who,
                 const Repair& recover, const Repair& takeOut) {
  const auto [status, unwritable, document] = LookAt(path);
  if (status == esd::ReadStatus::kDamaged && IsAtRest(path) &&
      LookAt(path).status == esd::ReadStatus::kDamaged) {
    findings.push_back({Severity::kWrong, "damaged", path, who,
                        "it is no document within the limits, and nobody can read it",
                        "set it aside as " + path + ".damaged and begin anew", recover});
  } else if (status == esd::ReadStatus::kDenied || status == esd::ReadStatus::kUnavailable ||
             status == esd::ReadStatus::kUnreadable) {
    AddUnreadable(findings, path, "it " + ReadProblem(status));
  } else if (!unwritable.empty()) {
    findings.push_back({Severity::kWrong, "unwritable", path, who,
                        "nobody can change the file any more: an attribute that cannot be written "
                        "is in " +
                            Joined(unwritable),
                        "take " + Joined(unwritable) + " out, into " + path + ".damaged", takeOut});
  }
}

// What a reader takes as it is, and a person might not expect.
void AddRemarks(Findings& findings, const std::string& path, const char* key) {
  const Look look = LookAt(path);
  std::string text;
  if (!look.document || kxl::ReadRegularFile(path, text) != kxl::OpenStatus::kOpened) return;
  const std::string start = text.substr(0, text.find("?>"));
  const std::size_t encoding = start.find("encoding=");
  const bool isOther =
      text.starts_with("\xFE\xFF") || text.starts_with("\xFF\xFE") ||
      (encoding != std::string::npos && start.find("UTF-8", encoding) == std::string::npos &&
       start.find("utf-8", encoding) == std::string::npos);
  if (isOther) {
    findings.push_back({Severity::kNote,
                        "foreign-encoding",
                        path,
                        kEverybody,
                        "it is in another encoding than UTF-8",
                        "nothing: whoever changes it next writes UTF-8",
                        {}});
  }
  std::set<std::string_view> seen;
  std::set<std::string> twice;
  for (const esd::XMLDocumentNode* const root : look.document->GetChildren()) {
    for (const esd::XMLDocumentNode* const entry : root->GetChildren()) {
      const auto id = entry->GetAttribute(key);
      if (id && !seen.insert(*id).second) twice.emplace(*id);
    }
  }
  if (twice.empty()) return;
  findings.push_back({Severity::kNote,
                      "duplicate-entry",
                      path,
                      kEverybody,
                      "the first entry counts of each of " +
                          Joined(std::vector<std::string>(twice.begin(), twice.end())),
                      "unregister the application and register it anew",
                      {}});
}

void AddCompanion(Findings& findings, const std::string& path, const Repair& repair) {
  const std::string companion = path + "_";
  if (!kxl::PathExists(companion) || kxl::IsFolder(companion) || !IsAtRest(path) ||
      !kxl::PathExists(companion)) {
    return;
  }
  findings.push_back({Severity::kWrong, "left-journal", companion, kThisUser,
                      "a process was killed while it wrote " + path,
                      "take it over when it is whole, and remove it", repair});
}

// The library replaces what has the first name when it meets damage again.
void AddSetAside(Findings& findings, const std::string& path) {
  for (const std::string& aside : SetAsideFor(path)) {
    const bool isFirst = aside == path + ".damaged";
    findings.push_back({Severity::kNote, "set-aside", aside, kThisUser, "it was set aside",
                        isFirst ? "move it where no application replaces it"
                                : "kxl doctor --fix --restore puts back the entries of a list that "
                                  "can still be read; remove it when it is of no more use",
                        isFirst ? Repair([path] {
                          return RepairIn(kxl::ParentPath(path),
                                          [&]() -> Mended { return MakeRoomForSetAside(path); });
                        })
                                : Repair()});
  }
}

template <typename List>
void ExamineList(Findings& findings, const std::string& path, const char* who, const char* key) {
  if (path.empty()) return;
  const Repair recover = Treat<List>(path, &Patient<List>::Mend);
  AddDocument(findings, path, who, recover, Treat<List>(path, &Patient<List>::TakeOut));
  AddRemarks(findings, path, key);
  AddCompanion(findings, path, recover);
  AddSetAside(findings, path);
}

}  // namespace

void ExamineContent(Findings& findings) {
  ExamineList<kxl::KeldaUpdaterRegistrationManager>(findings, ApplicationsPath(), kEverybody,
                                                    "appID");
  ExamineList<kxl::KeldaUpdaterMissingCompsManager>(findings, ComponentsPath(), kThisUser, "AppID");
  const std::string preferences = PreferencesPath();
  if (preferences.empty()) return;
  AddDocument(
      findings, preferences, kThisUser,
      [preferences] {
        return UnderLock(preferences, [&]() -> Mended { return SetAside(preferences); });
      },
      [preferences] { return TakeOutOfPreferences(preferences); });
  AddSetAside(findings, preferences);
  const std::string holds = HoldsPath();
  AddHolds(findings);
  AddCompanion(findings, holds, [holds] {
    return UnderLock(holds, [&]() -> Mended { return kxl::DeleteFile(holds + "_"); });
  });
  AddSetAside(findings, holds);
}

}  // namespace tool
