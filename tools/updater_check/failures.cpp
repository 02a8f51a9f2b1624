// What the system refuses, and files that nobody expects.
#include <kxl/kxl.h>

#include <chrono>
#include <functional>
#include <string>

#include "platform/regular_file.h"
#include "updater_check/check.h"
#include "updater_check/documents.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"

namespace conformance {

namespace {

// All files, with something in each.
std::vector<std::string> MakeFiles(Machine& machine) {
  const Places& places = machine.places;
  machine.Offer("one", "content of one");
  machine.List("one");
  WriteFile(places.applications,
            Applications(Application(machine.Application(), Texts("Name", "/opt/folder"))));
  WriteFile(places.preferences, Preferences("<Launch>Manual</Launch>\n"));
  WriteFile(places.holds, machine.Application() + "\t2008-03-17 21:05:41\r\n");
  return {places.applications, places.components, places.preferences, places.holds};
}

void RunEveryTask(Machine& machine) {
  const std::string id = machine.Application();
  for (const auto& task : {ManualCheck(), ScheduledCheck(), Fetch(), NothingLeft()}) {
    machine.Run(task);
  }
  machine.StartQuery(id);
  machine.AwaitEnd();
}

constexpr Check kChecks[] = {
    {"failures-unreadable", "failures-unreadable", "files that may not be read are left alone",
     [](Machine& machine) {
       Machine::GiveUpPrivileges();
       const std::vector<std::string> files = MakeFiles(machine);
       Snapshot before;
       for (const std::string& path : files) {
         before[path] = ReadFile(path);
         SetMode(path, 0);
       }
       RunEveryTask(machine);
       for (const std::string& path : files) {
         const bool isThere = fs::exists(path) && ModeOf(path) == 0;
         if (isThere) SetMode(path, 0600);
         Require(isThere && ReadFile(path) == before[path],
                 "a file that may not be read is left as it is", "it was changed or removed",
                 {path});
       }
     }},
    {"failures-read-only", "failures-read-only",
     "in folders that may not be written nothing is lost",
     [](Machine& machine) {
       Machine::GiveUpPrivileges();
       const std::vector<std::string> files = MakeFiles(machine);
       Snapshot before;
       for (const std::string& path : files) before[path] = ReadFile(path);
       SetMode(machine.places.data, 0555);
       for (const auto& task : {Fetch(), NothingLeft()}) machine.Run(task);
       SetMode(machine.places.data, 0755);
       for (const std::string& path : files) {
         Require(ReadFile(path) == before[path], "the file is as it was", "it is not", {path});
       }
       machine.Run(Fetch());
       Require(machine.Listed().empty(), "the component is fetched when that can be written",
               "it is not", {machine.places.components});
     }},
    {"failures-full-disk", "failures-full-disk",
     "on a full disk nothing is lost, and later all goes on",
     [](Machine& machine) {
       Machine::MountSmallDisk(machine.places.data);
       const std::vector<std::string> files = MakeFiles(machine);
       machine.List("two");
       fs::create_directories(machine.places.downloads);
       const std::string filler = machine.places.data + "/filler";
       Machine::FillDisk(filler);
       machine.Run(Fetch());
       Require(machine.Listed() == std::vector<std::string>{"one", "two"},
               "what could not be stored is listed still", "it is not",
               {machine.places.components});
       fs::remove(filler);
       machine.Run(Fetch());
       Require(machine.Listed() == std::vector<std::string>{"two"} &&
                   machine.IsDownloaded("content of one"),
               "the component is fetched when there is room again", "it is not",
               {machine.places.components, machine.places.downloads});
       for (const auto& entry : fs::directory_iterator(machine.places.data)) {
         Require(!entry.path().string().ends_with('_'), "no companion is left", "one is",
                 {entry.path()});
       }
     }},
    {"failures-not-regular", "failures-not-regular",
     "nothing that stands in a file's place is waited for",
     [](Machine& machine) {
       const std::vector<std::string> files = MakeFiles(machine);
       const std::pair<const char*, std::function<void(const std::string&)>> kinds[] = {
           {"a FIFO", Machine::MakeFifo},
           {"a folder", [](const std::string& path) { fs::create_directory(path); }},
           {"a link to nothing",
            [](const std::string& path) { fs::create_symlink("/nonexistent/file", path); }},
           {"a link to itself", [](const std::string& path) { fs::create_symlink(path, path); }},
       };
       for (const auto& [what, make] : kinds) {
         for (const std::string& path : files) {
           fs::remove_all(path);
           make(path);
         }
         try {
           RunEveryTask(machine);
         } catch (const Broken& broken) {
           throw Broken(broken.expected, broken.seen + ", with " + what + " in each file's place",
                        files);
         }
       }
     }},
    {"failures-ten-thousand", "failures-large", "ten thousand applications are no trouble",
     [](Machine& machine) {
       std::string entries;
       std::string records;
       for (int i = 0; i < 10000; ++i) {
         const std::string id = "com.example." + std::to_string(i);
         entries += Application(id, Texts("Name", "/opt/" + id));
         if (i % 10 == 0)
           records += MissingRecord(id, Texts("Name", "/opt/" + id) + MissingComponent("nobody's"));
       }
       machine.Offer("one", "content of one");
       WriteFile(machine.places.applications, Applications(entries));
       WriteFile(machine.places.components,
                 MissingComponents(
                     records + MissingRecord(machine.Application(), Texts("Name", "/opt/folder") +
                                                                        MissingComponent("one"))));
       RunEveryTask(machine);
       Require(machine.Listed().size() == 1000, "one component of a thousand and one was fetched",
               "listed are " + std::to_string(machine.Listed().size()),
               {machine.places.components});
       Require(ReadFile(machine.places.applications) == Applications(entries),
               "the list of applications is as it was", "it is not", {machine.places.applications});
     }},
    {"failures-large", "failures-large", "a list larger than 16 MiB is damaged, and not lost",
     [](Machine& machine) {
       const std::string list = machine.places.components;
       std::string white;
       white.resize(kxl::kMaximumFileSize, ' ');
       const std::string large = MissingComponents(white);
       WriteFile(list, large);
       machine.Run(Fetch());
       Require(ReadFile(list) == large || ReadFile(list + ".damaged") == large,
               "it is left, or set aside", "it is lost", {list, list + ".damaged"});
     }},
};

}  // namespace

std::span<const Check> FailureChecks() { return kChecks; }

}  // namespace conformance
