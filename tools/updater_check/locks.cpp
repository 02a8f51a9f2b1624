// The locks of the files: one at a time, for a moment, waited for, and always given back.
#include <kxl/kxl.h>

#include <chrono>
#include <csignal>
#include <map>
#include <set>
#include <string>

#include "esd/resource_locker.h"
#include "stores/lock_files.h"
#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/trace.h"

namespace conformance {

namespace {

using std::chrono::milliseconds;

// Something to do for every task.
std::string GiveWork(Machine& machine) {
  std::string id = machine.Application();
  std::uint32_t seconds = 600;
  std::string holder = id;
  KXLSuppressUpdates(holder.data(), nullptr, &seconds, 0);
  machine.Offer("one", "content of one");
  machine.List(id, {"one", "two"});
  return id;
}

void RequireAllFree(const Machine& machine) {
  for (const std::string& resource : machine.Locks()) RequireFree(resource);
}

constexpr Check kChecks[] = {
    {"locks-one", "locks-one", "no lock is taken by who holds another one, a query's apart",
     [](Machine& machine) {
       const std::string id = GiveWork(machine);
       std::vector<std::string> resources = machine.Locks();
       const std::string query = kxl::RequestLockName(id);
       resources.push_back(query);
       Trace trace({}, resources);
       machine.StartQuery(id);
       machine.AwaitEnd();
       for (const auto& task : {ManualCheck(), Fetch(), NothingLeft()}) machine.Run(task);
       std::set<std::string> held;
       for (const Step& step : trace.Steps()) {
         if (step.event != Event::kTaken) {
           held.erase(step.path);
           continue;
         }
         std::set<std::string> others = held;
         if (step.path != query) others.erase(query);
         Require(others.empty(), "a lock is given back before the next one is taken",
                 "one was taken while another one was held",
                 {step.path, others.empty() ? "" : *others.begin()});
         held.insert(step.path);
       }
     }},
    {"locks-fetching", "locks-short", "nothing is fetched while the list is locked",
     [](Machine& machine) {
       GiveWork(machine);
       fs::create_directories(machine.places.downloads);
       Trace trace({machine.places.downloads}, machine.Locks());
       machine.Run(Fetch());
       std::set<std::string> held;
       for (const Step& step : trace.Steps()) {
         if (step.event == Event::kTaken) {
           held.insert(step.path);
         } else if (step.event == Event::kGiven) {
           held.erase(step.path);
         } else {
           Require(held.empty(), "components are fetched while no lock is held",
                   "one was, while a file was locked",
                   {step.path, held.empty() ? "" : *held.begin()});
         }
       }
     }},
    {"locks-short", "locks-short", "the lock of a file is held for a moment",
     [](Machine& machine) {
       GiveWork(machine);
       machine.Start(ManualCheck());
       machine.Start(Fetch());
       // Counted in looks, a millisecond apart at the least: a machine that stands still for a
       // while keeps nobody else from a lock.
       constexpr int kTooMany = 500;
       struct Hold {
         std::uint64_t file = 0;
         int looks = 0;
       };
       std::map<std::string, Hold> holds;
       Await([&] {
         for (const std::string& resource : machine.Locks()) {
           Hold& hold = holds[resource];
           const std::uint64_t file = HoldOn(resource);
           hold.looks = file != 0 && file == hold.file ? hold.looks + 1 : 0;
           hold.file = file;
           Require(hold.looks < kTooMany, "a lock is held for milliseconds",
                   "it is held for half a second", {resource, esd::SemaphorePath(resource)});
         }
         return machine.HasEnded();
       });
       machine.AwaitEnd();
     }},
    {"locks-waited", "locks-waits", "lists that are locked for a moment are waited for",
     [](Machine& machine) {
       const std::string id = GiveWork(machine);
       const std::string answer = machine.AnswerOf(id);
       WriteFile(answer, "an answer that nobody has fetched");
       {
         esd::ResourceLocker components(machine.places.components, 0);
         esd::ResourceLocker applications(machine.places.applications, 0);
         components.Lock();
         applications.Lock();
         machine.Start(Fetch());
         machine.Start(NothingLeft());
         Await([&] { return machine.HasEnded(); }, milliseconds(300));
       }
       machine.AwaitEnd();
       Require(machine.Listed() == std::vector<std::string>{"two"}, "the component is fetched",
               "the list was not waited for", {machine.places.components});
       Require(!fs::exists(answer), "what was left goes", "the list was not waited for",
               {machine.places.applications, answer});
     }},
    {"locks-left", "locks-waits", "locks that stay held are waited for in vain, and left alone",
     [](Machine& machine) {
       GiveWork(machine);
       const Snapshot before = TakeSnapshot(machine.places.data);
       std::vector<std::unique_ptr<esd::ResourceLocker>> others;
       for (const std::string& resource : machine.Locks()) {
         others.push_back(std::make_unique<esd::ResourceLocker>(resource, 0));
         others.back()->Lock();
       }
       std::map<std::string, std::uint64_t> files;
       for (const std::string& resource : machine.Locks()) files[resource] = HoldOn(resource);
       for (const auto& task : {Fetch(), NothingLeft()}) machine.Start(task);
       machine.AwaitEnd(std::chrono::seconds(25));
       for (const std::string& resource : machine.Locks()) {
         Require(HoldOn(resource) == files[resource], "another process's lock is left alone",
                 "it was removed", {resource, esd::SemaphorePath(resource)});
       }
       for (const std::string& path :
            {machine.places.components, machine.places.preferences, machine.places.holds}) {
         const auto content = before.find(path);
         Require(
             content == before.end()
                 ? !fs::exists(path)
                 : fs::exists(path) && TakeSnapshot(machine.places.data)[path] == content->second,
             "a file that is locked is left alone", "it was changed", {path});
       }
     }},
    {"locks-signals", "locks-signals", "SIGTERM while a list is locked leaves no lock",
     [](Machine& machine) {
       GiveWork(machine);
       const std::string list = machine.places.components;
       for (int round = 0; round < 40; ++round) {
         if (machine.Listed().size() < 2) machine.List(machine.Application(), {"one"});
         const pid_t updater = machine.Start(Fetch());
         // Locked for reading at first, and in the end for what was fetched.
         for (int nth = 0; nth <= round % 3; ++nth) {
           const std::uint64_t file = HoldOn(list);
           while (!machine.HasEnded() && (HoldOn(list) == 0 || HoldOn(list) == file)) {
           }
         }
         Signal(updater, SIGTERM);
         machine.AwaitEnd();
         RequireAllFree(machine);
         machine.Listed();
       }
     }},
    {"locks-free", "locks-signals", "no lock is left behind by any task",
     [](Machine& machine) {
       const std::string id = GiveWork(machine);
       for (const auto& task : {ManualCheck(), ScheduledCheck(), Fetch(), NothingLeft()}) {
         machine.Run(task);
         RequireAllFree(machine);
       }
       machine.StartAction(id);
       machine.StartQuery(id);
       machine.AwaitEnd();
       RequireAllFree(machine);
       RequireFree(kxl::RequestLockName(id));
     }},
};

}  // namespace

std::span<const Check> LockChecks() { return kChecks; }

}  // namespace conformance
