// The administrator's switch, which the library asks before it starts an updater.
#include <kxl/kxl.h>

#include <chrono>
#include <csignal>
#include <string>

#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"

namespace conformance {

namespace {

constexpr char kSwitchedOff[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<plist version=\"1.0\"><dict><key>Disable.Update</key><true/></dict></plist>\n";

constexpr Check kChecks[] = {
    {"administrator-nothing-left", "administrator-tasks",
     "what was left goes although updates are switched off",
     [](Machine& machine) {
       const std::string id = machine.Application();
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       WriteFile(machine.AnswerOf(id), "an answer that nobody has fetched");
       WriteFile(machine.places.administratorsList, kSwitchedOff);
       KXLUnRegisterApplication(id.c_str());
       machine.AwaitEnd();
       Require(!fs::exists(machine.AnswerOf(id)), "answers of nobody are removed", "one is left",
               {machine.AnswerOf(id), machine.places.administratorsList});
     }},
    {"administrator-list", "administrator-list", "the administrator's list is never changed",
     [](Machine& machine) {
       const std::string list = machine.places.administratorsList;
       for (const char* text : {kSwitchedOff, "no list", ""}) {
         WriteFile(list, text);
         SetMode(list, 0644);
         for (const auto& task : {ManualCheck(), Fetch(), NothingLeft()}) machine.Run(task);
         Require(ReadFile(list) == text && ModeOf(list) == 0644,
                 "the list is as the administrator has left it", "it is not", {list});
       }
     }},
    {"administrator-own-accord", "administrator-own-accord",
     "an updater does nothing of its own accord while updates are switched off",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const pid_t updater = machine.StartListening();
       const auto awaitFetched = [&](std::chrono::milliseconds limit) {
         return Await([&] { return !fs::exists(machine.places.components); }, limit);
       };
       // Behind its look at the beginning: it has been told of something.
       for (int i = 0; i < 2; ++i) {
         Machine::Report(machine.Application(), "one");
         awaitFetched(kPatience);
       }
       WriteFile(machine.places.administratorsList, kSwitchedOff);
       machine.List("one");  // and tells nobody
       const bool isFetched = awaitFetched(std::chrono::seconds(1));
       Require(!isFetched, "what nobody has told it of is not fetched", "it was",
               {machine.places.components, machine.places.administratorsList});
       Signal(updater, SIGTERM);
       machine.AwaitEnd();
     },
     Bus::kYes},
};

}  // namespace

std::span<const Check> AdministratorChecks() { return kChecks; }

}  // namespace conformance
