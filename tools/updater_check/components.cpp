// Missing components: what is fetched is taken off the list, and nothing else ever gets lost.
#include <kxl/kxl.h>

#include <chrono>
#include <string>
#include <thread>

#include "esd/resource_locker.h"
#include "stores/lock_files.h"
#include "updater_check/check.h"
#include "updater_check/documents.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/trace.h"

namespace conformance {

namespace {

using Clock = std::chrono::steady_clock;
using Names = std::vector<std::string>;

void RequireListed(const Machine& machine, const Names& names, std::string_view expected) {
  std::string seen = "listed is:";
  const Names listed = machine.Listed();
  for (const std::string& name : listed) seen += " " + name;
  Require(listed == names, expected, listed.empty() ? "the list is empty" : seen,
          {machine.places.components});
}

constexpr Check kChecks[] = {
    {"components-fetched", "components-fetched", "what was fetched is taken off, and nothing else",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.Offer("two", "content of two");
       machine.Offer("gone", "content of gone");
       fs::remove(machine.places.catalogue + "/gone.dat");
       machine.List(machine.Application(".a"), {"one", "nobody's", "gone"});
       machine.List(machine.Application(".b"), {"two"});
       machine.Run(Fetch());
       for (const char* content : {"content of one", "content of two"}) {
         Require(machine.IsDownloaded(content), "the components are in the folder of downloads",
                 "there is no file with the " + std::string(content), {machine.places.downloads});
       }
       RequireListed(machine, {"nobody's", "gone"}, "what is not to be had stays listed");
     }},
    {"components-every-task", "components-last-look",
     "whatever its task was, an updater fetches in the end what is listed",
     [](Machine& machine) {
       const std::string id = machine.Application();
       machine.Offer("one", "content of one");
       const auto require = [&](std::string_view task) {
         machine.AwaitEnd();
         RequireListed(machine, {},
                       "who has found an updater at work, " + std::string(task) +
                           ", has started no other one");
         machine.List("one");
       };
       machine.List("one");
       for (const auto& [task, variables] :
            {std::pair("a manual check", ManualCheck()),
             std::pair("a scheduled check", ScheduledCheck()),
             std::pair("the end of the last application", NothingLeft())}) {
         machine.Start(variables);
         require(task);
       }
       machine.StartAction(id);
       require("an action");
       machine.StartQuery(id);
       require("a query");
       esd::ResourceLocker other(kxl::RequestLockName(id), 0);
       other.Lock();
       machine.StartQuery(id);
       require("a query that another one answers");
     }},
    {"components-any-name", "components-any-name", "the name * stands for any",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.Offer("two", "content of two");
       machine.Offer("other", "content of other", "other parts");
       machine.List("*");
       machine.Run(Fetch());
       Require(machine.IsDownloaded("content of one") && machine.IsDownloaded("content of two"),
               "all components of that category and version are fetched", "they are not",
               {machine.places.downloads});
       Require(!machine.IsDownloaded("content of other"), "those of another category are not",
               "one is", {machine.places.downloads});
       RequireListed(machine, {}, "the entry is taken off");
     }},
    {"components-versions", "components-versions", "versions are compared as numbers",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const auto fetch = [&](const char* version) {
         fs::remove_all(machine.places.downloads);
         WriteFile(machine.places.components,
                   MissingComponents(MissingRecord(
                       machine.Application(),
                       Texts("Name", "/opt/folder") + MissingComponent("one", version))));
         machine.Run(Fetch());
         return machine.IsDownloaded("content of one");
       };
       for (const char* same : {"1.2.0.0", "1.2", "1,2", "1-2-0", "1 2", "01.02", "1.2.x"}) {
         Require(fetch(same), "the version " + std::string(same) + " is 1.2", "it is another one",
                 {machine.places.components});
       }
       for (const char* other : {"1.2.0.1", "1.20", "2.1", "1.2.0.0.0"}) {
         Require(!fetch(other), "the version " + std::string(other) + " is not 1.2",
                 "it was taken for that", {machine.places.components});
       }
     }},
    {"components-listed-meanwhile", "components-meanwhile",
     "what an application lists while others are fetched is not lost",
     [](Machine& machine) {
       Names names;
       for (const char* name : {"one", "two", "three", "four"}) {
         machine.Offer(name, std::string(4000000, *name));
         names.emplace_back(name);
       }
       fs::create_directories(machine.places.downloads);
       for (int round = 0; round < 5; ++round) {
         machine.List(machine.Application(), names);
         Trace trace({machine.places.downloads}, {});
         machine.Start(Fetch());
         Await([&] { return !trace.Steps().empty() || machine.HasEnded(); });
         machine.List(machine.Application(".late"), {"late"});
         machine.AwaitEnd();
         RequireListed(machine, {"late"}, "the component that was listed last is listed still");
         fs::remove(machine.places.components);
         fs::remove_all(machine.places.downloads);
         fs::create_directories(machine.places.downloads);
       }
     }},
    {"components-race", "components-last-look",
     "what is listed at any moment of an updater's life is fetched",
     [](Machine& machine) {
       constexpr int kRounds = 200;
       machine.Offer("one", "content of one");
       machine.Offer("two", "content of two");
       const std::string id = machine.Application();
       auto life = Clock::duration::zero();
       const auto end = Clock::now() + kLongEnough;
       for (int round = -3; round < kRounds && Clock::now() < end; ++round) {
         const auto start = Clock::now();
         Machine::Report(id, "one");
         if (round >= 0) {
           std::this_thread::sleep_until(start + life * round / kRounds);
           Machine::Report(id, "two");
         }
         machine.AwaitEnd();
         if (round < 0) life = std::max(life, Clock::now() - start);
         RequireListed(
             machine, {},
             "whoever lists a component finds an updater that still looks, or starts one");
       }
     }},
    {"components-folder", "preferences-download-folder",
     "components go to the folder that the preferences name, which is made",
     [](Machine& machine) {
       const std::string folder = machine.places.root + "/some where/else";
       machine.Offer("one", "content of one");
       machine.List("one");
       WriteFile(machine.places.preferences,
                 Preferences("<DownloadDir>" + folder + "</DownloadDir>\n"));
       machine.Run(Fetch());
       Require(machine.IsDownloaded("content of one", folder), "the component is there",
               machine.IsDownloaded("content of one") ? "it is in D/Install" : "it is not",
               {folder});
     }},
    {"components-no-folder", "components-fetched", "what cannot be put anywhere stays listed",
     [](Machine& machine) {
       const std::string folder = machine.places.root + "/file/folder";
       WriteFile(machine.places.root + "/file", "a file in the way");
       machine.Offer("one", "content of one");
       machine.List("one");
       WriteFile(machine.places.preferences,
                 Preferences("<DownloadDir>" + folder + "</DownloadDir>\n"));
       machine.Run(Fetch());
       RequireListed(machine, {"one"}, "the component is listed still");
     }},
};

}  // namespace

std::span<const Check> ComponentChecks() { return kChecks; }

}  // namespace conformance
