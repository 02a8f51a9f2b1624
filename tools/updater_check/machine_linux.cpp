#include "updater_check/machine.h"

#include <dirent.h>
#include <fcntl.h>
#include <kxl/kxl.h>
#include <linux/capability.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "esd/resource_locker.h"
#include "esd/xml_document.h"
#include "esd/xml_parser.h"
#include "platform/folders.h"
#include "platform/local_date.h"
#include "platform/regular_file.h"
#include "stores/lock_files.h"
#include "stores/missing_components.h"
#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/session_bus.h"
#include "util/date_text.h"

namespace conformance {

namespace {

// What an updater may be told by.
constexpr std::array<const char*, 8> kTaskVariables = {
    "notifyAppID",     "notifyFile",      "doActionAppID",    "KX_LAUNCH_MODE",
    "KX_LAUNCH_APPID", "KX_DISPLAY_LANG", "KXL_UPDATER_STAY", "DBUS_SESSION_BUS_ADDRESS"};

void ForgetTask() {
  for (const char* name : kTaskVariables) unsetenv(name);
}

std::string RootOfThisProcess() {
  const char* root = std::getenv("KXL_ROOT");
  if (root == nullptr) throw std::runtime_error("this is no private machine");
  return root;
}

// The parent of a process, by /proc; 0 when it has gone.
pid_t ParentOf(const std::string& process) {
  std::ifstream file("/proc/" + process + "/stat");
  std::string stat;
  std::getline(file, stat);
  const std::size_t name = stat.rfind(')');  // which may hold anything
  if (name == std::string::npos || name + 4 >= stat.size()) return 0;
  return static_cast<pid_t>(std::atoi(stat.c_str() + name + 4));
}

std::set<pid_t> Children() {
  std::set<pid_t> children;
  DIR* const processes = opendir("/proc");
  if (processes == nullptr) throw std::runtime_error("there is no /proc");
  while (const dirent* entry = readdir(processes)) {
    const std::string name = entry->d_name;
    if (name[0] < '0' || name[0] > '9' || ParentOf(name) != getpid()) continue;
    children.insert(static_cast<pid_t>(std::stol(name)));
  }
  closedir(processes);
  return children;
}

}  // namespace

bool Await(const std::function<bool()>& holds, std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void Signal(pid_t process, int signal) { kill(process, signal); }

bool IsThere(pid_t process) { return kill(process, 0) == 0; }

std::uint64_t HoldOn(const std::string& resource) {
  struct stat state {};
  return stat(esd::SemaphorePath(resource).c_str(), &state) == 0 ? state.st_ino : 0;
}

bool IsHeld(const std::string& resource) { return fs::exists(esd::SemaphorePath(resource)); }

void RequireFree(const std::string& resource) {
  Require(!IsHeld(resource), "a lock is free when its updater has ended", "it is still held",
          {resource, esd::SemaphorePath(resource)});
}

std::string Today() {
  const std::chrono::year_month_day today = kxl::LocalDate(std::time(nullptr));
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(today.year()),
                static_cast<unsigned>(today.month()), static_cast<unsigned>(today.day()));
  return text.data();
}

kxl::EnvironmentList Mode(const std::string& mode) { return {{"KX_LAUNCH_MODE", mode}}; }

Machine::Machine() : places(RootOfThisProcess()) {
  if (prctl(PR_SET_CHILD_SUBREAPER, 1) != 0) throw std::runtime_error("no process can be adopted");
  ForgetTask();
  std::string folder;
  if (!kxl::GetDataFolder(folder) || folder != places.data) {
    throw std::runtime_error("the machine's files lie in " + folder);
  }
  WriteCatalogue();
}

// A file name is 255 bytes, and the updater may want some of them for itself.
std::string Machine::Application(std::string_view text) const {
  const fs::path root = places.root;
  std::string id = "kxl.check." + root.parent_path().filename().string() + "." +
                   root.filename().string() + std::string(text);
  std::ofstream(places.identifiers, std::ios::app | std::ios::binary) << id << '\0';
  return id;
}

pid_t Machine::NewChild() {
  for (const pid_t child : Children()) {
    if (known_.insert(child).second) return child;
  }
  throw Broken("the updater is started", "nothing runs", {"Contents/MacOS/Kelda Updater"});
}

pid_t Machine::Start(const kxl::EnvironmentList& task) {
  ForgetTask();
  kxl::OpenUpdaterApplication(task);
  const pid_t updater = NewChild();
  ForgetTask();  // which a host does not, but the next start is another host's
  return updater;
}

pid_t Machine::StartAction(const std::string& id) {
  kxl::RunUpdaterExecutable({{"doActionAppID", id}}, kxl::Background::kYes);
  return NewChild();
}

pid_t Machine::StartQuery(const std::string& id) {
  fs::create_directories(fs::path(AnswerOf(id)).parent_path());
  kxl::RunUpdaterExecutable({{"notifyAppID", id}, {"notifyFile", AnswerOf(id)}},
                            kxl::Background::kYes);
  return NewChild();
}

std::int32_t Machine::Ask(const std::string& id, std::int32_t& number) {
  const auto call = [&] {
    return KXLIsUpdateAvailable(id.c_str(), "Name", "/opt/folder", 7, &number, false);
  };
  std::int32_t code = call();
  if (code != ESD_ERR_NOTIFY_PENDING) return code;
  Require(Await([&] {
            return (fs::exists(AnswerOf(id)) && !IsHeld(kxl::RequestLockName(id))) || HasEnded();
          }),
          "the updater answers a query, or ends", "it does neither", {AnswerOf(id)});
  code = call();
  Require(code != ESD_ERR_NOTIFY_PENDING, "an updater that has ended has answered the query",
          "the query is pending still",
          {AnswerOf(id), esd::SemaphorePath(kxl::RequestLockName(id))});
  return code;
}

void Machine::GiveUpPrivileges() {
  if (geteuid() != 0) return;
  for (const int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
    if (prctl(PR_CAPBSET_DROP, capability) != 0) throw Skipped("root may read everything");
  }
}

pid_t Machine::StartListening() {
  const SessionBus bus;
  Set("KXL_UPDATER_STAY", "600");
  const pid_t updater = StartAction(Application());
  Set("KXL_UPDATER_STAY", "");
  const bool isThere =
      Await([&] { return bus.HasOwner("com.kelda.updater6") || HasEnded(); }) && !HasEnded();
  if (!isThere) throw Skipped("the updater does not stay to listen");
  return updater;
}

pid_t Machine::StartWithoutStreams(const kxl::EnvironmentList& task) {
  std::string bundle;
  kxl::GetUpdaterBundlePath(bundle);
  const std::string program = kxl::ExecutableInBundle(bundle);
  const pid_t child = fork();
  if (child == 0) {
    for (const auto& [name, value] : task) setenv(name.c_str(), value.c_str(), 1);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
    execl(program.c_str(), program.c_str(), nullptr);
    _exit(127);
  }
  known_.insert(child);
  return child;
}

void Machine::Set(const std::string& name, const std::string& value) {
  if (value.empty()) {
    unsetenv(name.c_str());
  } else {
    setenv(name.c_str(), value.c_str(), 1);
  }
}

void Machine::SetUmask(mode_t mask) { umask(mask); }

// In a name space of this process's own, where whoever may make one may mount something.
void Machine::MountSmallDisk(const std::string& folder) {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  if (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0) {
    throw Skipped("no file system may be mounted");
  }
  if (user != "0") {
    std::ofstream("/proc/self/setgroups") << "deny";
    std::ofstream("/proc/self/uid_map") << user << ' ' << user << " 1";
    std::ofstream("/proc/self/gid_map") << group << ' ' << group << " 1";
  }
  if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=1m,mode=0700") != 0) {
    throw Skipped("no file system may be mounted");
  }
}

void Machine::FillDisk(const std::string& filler) {
  const kxl::FileDescriptor file(open(filler.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const std::string page(4096, 'x');
  while (write(file.get(), page.data(), page.size()) > 0) {
  }
}

void Machine::MakeFifo(const std::string& path) {
  fs::remove_all(path);
  mkfifo(path.c_str(), 0600);
}

gid_t Machine::GiveToAnotherGroup(const std::string& folder) {
  std::array<gid_t, 256> groups;
  const int count = getgroups(groups.size(), groups.data());
  const auto end = groups.begin() + std::max(count, 0);
  const auto other =
      std::find_if(groups.begin(), end, [](gid_t group) { return group != getgid(); });
  const gid_t group = other != end ? *other : getgid() + 1;  // root may give to any
  if (chown(folder.c_str(), static_cast<uid_t>(-1), group) != 0) {
    throw Skipped("this user is in one group only");
  }
  SetMode(folder, 02775);
  return group;
}

gid_t Machine::GroupOf(const std::string& path) {
  struct stat state {};
  return stat(path.c_str(), &state) == 0 ? state.st_gid : static_cast<gid_t>(-1);
}

bool Machine::HasEnded() {
  for (;;) {
    const pid_t ended = waitpid(-1, nullptr, WNOHANG | __WALL);
    if (ended == 0) return false;
    if (ended == -1) return errno == ECHILD;
    known_.erase(ended);
  }
}

void Machine::KillAll() {
  const auto killed = [this] {
    for (const pid_t child : Children()) kill(child, SIGKILL);
    return HasEnded();
  };
  Await(killed, std::chrono::seconds(5));  // whoever has made the machine kills what is left
}

void Machine::AwaitEnd(std::chrono::milliseconds limit) {
  if (Await([this] { return HasEnded(); }, limit)) return;
  throw Broken("the updater ends when its task is done",
               "it still runs after " + std::to_string(limit.count() / 1000) + " seconds");
}

void Machine::RequireRecorded(const std::string& preferences) const {
  const std::string text = ReadFile(preferences);
  const std::string date = Element(text, "KeldaUpdater", "LastDateCheck");
  Require(kxl::ParseDate(date).has_value(), "LastDateCheck has the date of the check",
          text.empty() ? "there are no preferences" : "it is " + date, {preferences});
}

void Machine::Report(const std::string& id, const std::string& name) {
  const KXLMissingComponent component = {name.c_str(), "parts", "1.2"};
  const KXLMissingComponent* const pointer = &component;
  const KXLMissingComponentList list = {1, &pointer};
  const std::int32_t code =
      KXLDownloadMissingComponents(id.c_str(), "Name", "/opt/folder", nullptr, &list, 4, false);
  Require(code == ESD_ERR_OK || code == KXL_ALL_LISTED, "an application can report a component",
          "KXLDownloadMissingComponents answers " + std::to_string(code));
}

void Machine::Offer(const std::string& name, const std::string& content, std::string_view category,
                    std::string_view version) {
  WriteFile(places.catalogue + "/" + name + ".dat", content);
  catalogue_ += "<Component name=\"" + name + "\" category=\"" + std::string(category) +
                "\" version=\"" + std::string(version) + "\" file=\"" + name + ".dat\"/>\n";
  WriteCatalogue();
}

void Machine::OfferUpdate(const std::string& id) {
  catalogue_ += "<Update appID=\"" + id + "\"/>\n";
  WriteCatalogue();
}

void Machine::WriteCatalogue() const {
  WriteWhole(places.catalogue + "/catalogue.xml", "<Catalogue>\n" + catalogue_ + "</Catalogue>\n");
}

void Machine::List(const std::string& id, const std::vector<std::string>& names) const {
  kxl::KeldaUpdaterMissingCompsManager list;
  for (const std::string& name : names) {
    if (list.AddMissingComponent({id.c_str(), "Name", "/opt/folder", 4, name.c_str(), "parts",
                                  "1.2"}) != kxl::AddResult::kAdded) {
      throw Broken("an application can list a component",
                   "the list is locked, or can be neither read nor written", {places.components});
    }
  }
}

std::vector<std::string> Machine::Listed() const {
  std::vector<std::string> names;
  const std::string text = ReadFile(places.components);
  if (text.empty() && !fs::exists(places.components)) return names;
  esd::ExpatDOMBuilder builder;
  Require(builder.Init() && builder.ParseText(text), "the list of missing components is whole",
          "it does not parse:\n" + text.substr(0, 500), {places.components});
  for (const auto& component : esd::SearchResult(builder.Document())
                                   .FindChildren(esd::NameIs("KeldaUpdaterMissingCompsManager"))
                                   .FindChildren(esd::NameIs("KeldaUpdaterMissingCompsApp"))
                                   .FindChildren(esd::NameIs("AMissingComponent"))) {
    names.emplace_back(component->GetAttribute("name").value_or("(no name)"));
  }
  return names;
}

bool Machine::IsDownloaded(const std::string& content, const std::string& folder) const {
  std::error_code error;
  const fs::recursive_directory_iterator files(folder, error);
  return std::any_of(begin(files), end(files), [&](const fs::directory_entry& entry) {
    return entry.is_regular_file() && ReadFile(entry.path()) == content;
  });
}

}  // namespace conformance
