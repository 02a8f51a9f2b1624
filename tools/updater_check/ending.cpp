// How an updater ends, and what it leaves behind.
#include <kxl/kxl.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "esd/resource_locker.h"
#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/session_bus.h"

namespace conformance {

namespace {

using Clock = std::chrono::steady_clock;
using Names = std::vector<std::string>;

constexpr Check kChecks[] = {
    {"ending-files", "ending-nothing-left", "no companion or other foreign file is left behind",
     [](Machine& machine) {
       const Places& places = machine.places;
       const std::string id = machine.Application();
       machine.Offer("one", "content of one");
       machine.List(id, {"one", "two"});
       Snapshot before = TakeSnapshot(places.root);
       for (const auto& task : {ManualCheck(), ScheduledCheck(), Fetch(), NothingLeft()}) {
         machine.Run(task);
       }
       machine.StartAction(id);
       machine.StartQuery(id);
       machine.AwaitEnd();
       for (const auto& [path, content] : TakeSnapshot(places.root)) {
         const bool isKnown = before.contains(path) || path == places.preferences ||
                              path == places.log || path == machine.AnswerOf(id) ||
                              fs::path(path).filename() == "kxlLib.log" ||
                              content.ends_with("content of one");
         Require(isKnown, "nothing is left but preferences, log, answer and what was fetched",
                 "there is another file", {path});
       }
     }},
    {"ending-processes", "ending-nothing-left", "no process is left behind",
     [](Machine& machine) {
       for (const auto& task : {ManualCheck(), Fetch(), NothingLeft()}) {
         const pid_t updater = machine.Start(task);
         Await([&] { return machine.HasEnded() || !IsThere(updater); });
         Require(Await([&] { return machine.HasEnded(); }, std::chrono::seconds(5)),
                 "what an updater has started ends with it", "a process runs on");
       }
     }},
    {"ending-killed", "ending-killed", "what a killed updater leaves is in nobody's way",
     [](Machine& machine) {
       constexpr int kRounds = 30;
       machine.Offer("one", std::string(500000, 'x'));
       machine.List(machine.Application(), {"one", "two"});
       const auto start = Clock::now();
       machine.Run(Fetch());
       const auto life = Clock::now() - start;
       const auto end = Clock::now() + kLongEnough;
       for (int round = 0; round < kRounds && Clock::now() < end; ++round) {
         machine.List(machine.Application(), {"one"});
         const pid_t updater = machine.Start(Fetch());
         std::this_thread::sleep_for(life * round / kRounds);
         Signal(updater, SIGKILL);
         machine.AwaitEnd();
         for (const std::string& resource : machine.Locks()) {
           esd::ResourceLocker(resource, 0).Unlock(esd::Force::kYes);
         }
         machine.Listed();
         machine.Run(Fetch());
         Require(machine.Listed() == Names{"two"}, "the next updater fetches what is listed",
                 "it does not", {machine.places.components});
         Require(machine.IsDownloaded(std::string(500000, 'x')), "the component is there, whole",
                 "it is not", {machine.places.downloads});
         Require(!fs::exists(machine.places.components + "_"), "the journal has gone",
                 "it is there", {machine.places.components + "_"});
         fs::remove_all(machine.places.downloads);
       }
     }},
    {"ending-signals", "ending-signals", "an updater that listens ends when it is asked to",
     [](Machine& machine) {
       for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
         const pid_t updater = machine.StartListening();
         Signal(updater, signal);
         machine.AwaitEnd();
         Require(!SessionBus().HasOwner("com.kelda.updater6"),
                 "nobody owns com.kelda.updater6 any more", "somebody does");
       }
     },
     Bus::kYes},
    {"ending-race", "components-last-look",
     "what is listed while a listening updater ends is fetched",
     [](Machine& machine) {
       constexpr int kRounds = 60;
       machine.Offer("one", "content of one");
       const std::string id = machine.Application();
       auto ending = Clock::duration::zero();
       const auto end = Clock::now() + kLongEnough;
       for (int round = -2; round < kRounds && Clock::now() < end; ++round) {
         const pid_t updater = machine.StartListening();
         const auto start = Clock::now();
         Signal(updater, SIGTERM);
         if (round >= 0) {
           std::this_thread::sleep_until(start + ending * round / kRounds);
           Machine::Report(id, "one");
         }
         machine.AwaitEnd();
         if (round < 0) ending = std::max(ending, Clock::now() - start);
         Require(machine.Listed().empty(),
                 "whoever lists a component finds an updater that still looks, or starts one",
                 "the component is listed still", {machine.places.components});
       }
     },
     Bus::kYes},
};

}  // namespace

std::span<const Check> EndingChecks() { return kChecks; }

}  // namespace conformance
