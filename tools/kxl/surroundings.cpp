#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <system_error>

#include "esd/resource_locker.h"
#include "esd/xml_parser.h"
#include "kxl/examinations.h"
#include "kxl/places.h"
#include "kxl/settings.h"
#include "kxl/writing.h"
#include "platform/file_system.h"
#include "platform/folders.h"
#include "platform/local_date.h"
#include "platform/log_trim.h"
#include "platform/path.h"
#include "platform/regular_file.h"
#include "stores/admin_prefs.h"
#include "stores/lock_files.h"
#include "stores/preference_engine.h"
#include "stores/property_list.h"
#include "stores/registered_applications.h"
#include "util/date_text.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

void AddForPerson(Findings& findings, const char* kind, const std::string& path, const char* who,
                  const std::string& meaning, const std::string& advice) {
  findings.push_back({Severity::kWrong, kind, path, who, meaning, advice, {}});
}

bool MayRead(const std::string& path) {
  return faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

// A switch that does not take leaves updates on without a word.
void ExamineSwitch(Findings& findings) {
  const std::string path = kxl::AdminPrefsPath();
  std::string text;
  bool value;
  const kxl::OpenStatus status = kxl::ReadRegularFile(path, text, kxl::kMaximumAdminListSize);
  if (status == kxl::OpenStatus::kMissing) return;
  const auto add = [&](const char* kind, const char* meaning, const char* advice) {
    AddForPerson(findings, kind, path, kEverybody, std::string("updates stay on: ") + meaning,
                 advice);
  };
  constexpr char kKey[] =
      "as root: write <key>Disable.Update</key><true/> in its dictionary, or "
      "remove it";
  if (status == kxl::OpenStatus::kDenied ||
      !SucceedsForOthers({}, [&path] { return MayRead(path); })) {
    const auto object = IsRoot() ? std::make_shared<ExaminedObject>(path) : nullptr;
    findings.push_back({Severity::kWrong, "switch-unreadable", path, kOrdinaryUsers,
                        "they cannot read it, and updates stay on for them",
                        "as root: let everybody read it (chmod 0644)", [object]() -> Mended {
                          if (object == nullptr) return Mended::Refused("only root can");
                          return object->SetRights({Rights::kAsItIs, Rights::kAsItIs, 0644},
                                                   ExaminedObject::Content::kUnknown);
                        }});
  }
  if (status == kxl::OpenStatus::kDenied) return;
  if (status != kxl::OpenStatus::kOpened) {
    return add("switch-damaged", "it is no file, or one of more than 256 KiB", kKey);
  }
  switch (kxl::FindBoolean(text, kxl::kDisableUpdate, value)) {
    case kxl::BooleanSearch::kFound:
      break;
    case kxl::BooleanSearch::kOtherType:
      return add("switch-wrong-type", "its Disable.Update is neither <true/> nor <false/>", kKey);
    case kxl::BooleanSearch::kNoKey:
      return add("switch-without-key", "it has no Disable.Update", kKey);
    case kxl::BooleanSearch::kDamaged:
      return add("switch-damaged", "it is no property list with a dictionary", kKey);
    case kxl::BooleanSearch::kNoLibrary:
      return add("switch-unreadable", "libplist is not installed", "install libplist");
  }
}

Mended ResetSetting(const std::string& key) {
  const std::string path = PreferencesPath();
  return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
    constexpr std::uint32_t kPatience = 3000;  // milliseconds
    esd::ResourceLocker lock(path, kPatience);
    esd::PrefsWriter writer("KeldaUpdater");
    writer.Load(path);
    writer.SetLockPolicy(&lock);
    if (!writer.ReloadIfChanged()) return Mended::Refused("somebody else holds its lock");
    return writer.SetText(key, {});
  });
}

void ExamineSettings(Findings& findings) {
  esd::ReadStatus status;
  for (const Setting& setting : ReadSettings(status)) {
    const auto date = kxl::ParseDate(setting.value);
    const bool isFuture =
        setting.key == "LastDateCheck" && date &&
        std::chrono::sys_days(*date) > std::chrono::sys_days(kxl::LocalDate(std::time(nullptr)));
    if (setting.isValid && !isFuture) continue;
    findings.push_back({Severity::kWrong, isFuture ? "future-date" : "bad-setting",
                        PreferencesPath(), kThisUser,
                        setting.key + " is " + setting.value +
                            (isFuture ? ", so that no scheduled check comes due before"
                                      : ", which cannot be read as what it is"),
                        "give " + setting.key + " its default",
                        [key = setting.key] { return ResetSetting(key); }});
  }
}

void ExamineLibraryLog(Findings& findings) {
  const std::string path = SettingValue("logFileLib");
  const bool isNew = path == DefaultLibraryLog() && !kxl::PathExists(path);
  if (path.empty() || isNew || (path == DefaultLibraryLog() && kxl::IsFolder(path))) return;
  int error = 0;
  // The user has named it: root goes no further there than he does.
  const Mended opened = RepairIn(DataFolder(), [&]() -> Mended {
    const bool may = MayAppend(path);
    error = may ? 0 : errno;
    return may;
  });
  if (opened.isDone || error == 0) return;
  const Repair repair = [path] {
    return RepairIn(DataFolder(),
                    [&]() -> Mended { return kxl::AddModeBits(path, S_IRUSR | S_IWUSR); });
  };
  const bool isFile = kxl::PathExists(path) && !kxl::IsFolder(path);
  findings.push_back({Severity::kWrong, "log-unopenable", path, kThisUser,
                      std::string("no trace is written: ") + std::strerror(error),
                      isFile ? "let the user write it"
                             : "make its folder, or name another file in the setting logFileLib",
                      isFile ? repair : Repair()});
}

void ExamineUpdaterLog(Findings& findings) {
  constexpr std::uint64_t kMost = 50UL * 1000 * 1000;  // bytes
  constexpr std::uint64_t kKept = 1000UL * 1000;
  const std::string path = SettingValue("logFile");
  std::error_code error;
  const std::uint64_t size = fs::file_size(path, error);
  if (path.empty() || error || size <= kMost) return;
  findings.push_back({Severity::kWrong, "large-log", path, kThisUser,
                      "the updater's log has " + std::to_string(size / 1000 / 1000) + " MB",
                      "cut it to its last megabyte", [path] {
                        return RepairIn(DataFolder(), [&]() -> Mended {
                          kxl::TrimLog(path, kMost, kKept);
                          std::error_code unknown;
                          return fs::file_size(path, unknown) <= kMost;
                        });
                      }});
}

// What the system can run: a program, or a script whose interpreter it names.
bool IsProgram(const std::string& path) {
  std::string head(4, '\0');
  std::size_t count = 0;
  const kxl::OpenedFile file =
      kxl::OpenRegularFile(path, kxl::FileAccess::kRead, kxl::Links::kFollow);
  if (file.status == kxl::OpenStatus::kDenied) return true;  // run it may all the same
  return kxl::ReadUpTo(file.descriptor.get(), head.data(), head.size(), count) &&
         (head == "\177ELF" || head.starts_with("#!"));
}

void ExamineUpdater(Findings& findings) {
  std::string bundle;
  const bool isKnown = kxl::GetUpdaterBundlePath(bundle);
  const std::string path = isKnown ? kxl::ExecutableInBundle(bundle) : "the updater";
  const auto add = [&](const char* kind, const char* who, const char* meaning) {
    AddForPerson(findings, kind, path, who, meaning, "install the updater");
  };
  if (!isKnown || !kxl::PathExists(path)) {
    add("missing-updater", kEverybody, "the updater is not installed");
  } else if (kxl::IsFolder(path) || !IsProgram(path)) {
    add("bad-updater", kEverybody, "the updater's executable is no program");
  } else if (!SucceedsForOthers(
                 {}, [&] { return faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0; })) {
    add("bad-updater", kOrdinaryUsers, "the updater may not be executed");
  }
}

// An answer ends a query whenever that comes, however old it is by then.
void ExamineAnswers(Findings& findings) {
  constexpr auto kLong = std::chrono::weeks(2);
  const std::string folder = Below(DataFolder(), "Data/UpdateAvailable");
  if (!kxl::IsFolder(folder)) return;
  const auto look = [&]() -> Mended {
    std::error_code error;
    for (const fs::directory_entry& application : fs::directory_iterator(folder, error)) {
      const std::string id = application.path().filename();
      for (const fs::directory_entry& answer : fs::directory_iterator(application, error)) {
        const std::string path = answer.path();
        kxl::ModificationStamp stamp;
        if (!path.ends_with(".xml") || !kxl::GetModificationStamp(path, stamp) ||
            std::chrono::seconds(std::time(nullptr) - stamp.seconds) < kLong) {
          continue;
        }
        findings.push_back({Severity::kWrong, "old-answer", path, kThisUser,
                            "an answer for " + id + " has waited for weeks, and tells what was",
                            "remove it, so that the next query asks anew", [=] {
                              return RepairIn(kxl::ParentPath(path), [&]() -> Mended {
                                esd::ResourceLocker lock(kxl::RequestLockName(id), 0);
                                if (!lock.Lock()) return Mended::Refused("its query is at work");
                                return kxl::DeleteFile(path);
                              });
                            }});
      }
    }
    return true;
  };
  RepairIn(folder, look);
}

void ExamineApplications(Findings& findings) {
  esd::ExpatDOMBuilder builder;
  const std::string path = ApplicationsPath();
  if (path.empty() || !builder.Init() || !builder.ParseFile(path, false)) return;
  const auto root = esd::NameIs(kxl::KeldaUpdaterRegistrationManager::ElementName());
  const auto record = esd::NameIs(kxl::KeldaUpdaterRegisteredApp::ElementName());
  const esd::SearchResult documents(builder.Document());
  for (const esd::XMLNodePointer& node : documents.FindChildren(root).FindChildren(record)) {
    const kxl::KeldaUpdaterRegisteredApp app(node);
    std::string id;
    std::string folder;
    if (!app.GetAppId(id) || !app.GetInstallPath(folder) || kxl::PathExists(folder)) continue;
    AddForPerson(findings, "gone-application", id, kEverybody,
                 "its folder " + folder + " does not exist, or is not mounted",
                 "if it is gone for good: kxl unregister " + id);
  }
}

}  // namespace

void ExamineSurroundings(Findings& findings) {
  for (const auto examine : {ExamineSwitch, ExamineSettings, ExamineLibraryLog, ExamineUpdaterLog,
                             ExamineUpdater, ExamineAnswers, ExamineApplications}) {
    examine(findings);
  }
}

}  // namespace tool
