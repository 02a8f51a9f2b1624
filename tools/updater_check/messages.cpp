// Being told: an updater that stays is told of components and holds on the session bus, and goes by
// the files.
#include <kxl/kxl.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <string>

#include "platform/session_bus.h"
#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/session_bus.h"
#include "updater_check/trace.h"
#include "util/utc_time.h"

namespace conformance {

namespace {

// An updater that listens needs milliseconds.
constexpr std::chrono::seconds kSoon(10);

constexpr char kName[] = "Kelda Updater 6 Notification";

void AwaitFetched(Machine& machine, std::string_view when) {
  Require(Await([&] { return !fs::exists(machine.places.components); }, kSoon),
          "an updater that listens fetches what is listed " + std::string(when),
          "it has not after a long while", {machine.places.components});
}

void End(Machine& machine, pid_t updater) {
  Signal(updater, SIGTERM);
  machine.AwaitEnd();
}

constexpr Check kChecks[] = {
    {"messages-components", "messages-posted", "an updater that is told of components fetches them",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const pid_t updater = machine.StartListening();
       for (int round = 0; round < 3; ++round) {
         Machine::Report(machine.Application(), "one");
         AwaitFetched(machine, "when it is told");
       }
       End(machine, updater);
     },
     Bus::kYes},
    {"messages-holds", "messages-posted", "an updater that is told of a hold reads the holds again",
     [](Machine& machine) {
       WriteFile(machine.places.holds, machine.Application() + "\t" +
                                           kxl::FormatUtc(std::time(nullptr) + 600, ' ') + "\r\n");
       const pid_t updater = machine.StartListening();
       Trace trace({machine.places.data}, {machine.places.holds});
       kxl::PostSuppressionSignal();
       std::vector<Step> all;
       const bool isRead = Await(
           [&] {
             bool isOpened = false;
             for (const Step& step : trace.Steps()) {
               isOpened =
                   isOpened || (step.event == Event::kOpened && step.path == machine.places.holds);
               all.push_back(step);
             }
             return isOpened;
           },
           kSoon);
       Require(isRead, "the holds are read", "nobody has opened them", {machine.places.holds});
       RequireUnderLock(all, machine.places.holds, Touch::kOpen);
       End(machine, updater);
     },
     Bus::kYes},
    {"messages-lost", "messages-lost", "what was listed before an updater listens is fetched then",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.List("one");
       const pid_t updater = machine.StartListening();
       AwaitFetched(machine, "when it begins to listen");
       End(machine, updater);
     },
     Bus::kYes},
    {"messages-odd", "messages-posted", "messages that an updater does not know do no harm",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const pid_t updater = machine.StartListening();
       const SessionBus bus;
       kxl::ActivateUpdater(kxl::BusPatience());
       bus.Post(kName, "Signal Something Else");
       bus.Post("Another Notification", "");
       bus.Post(kName, nullptr);
       bus.CallUnknown();
       for (int i = 0; i < 50; ++i) kxl::PostSuppressionSignal();
       Machine::Report(machine.Application(), "one");
       AwaitFetched(machine, "behind messages that it does not know");
       End(machine, updater);
     },
     Bus::kYes},
    {"messages-no-bus", "messages-lost", "without a session bus an updater does its task and ends",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       Machine::Set("KXL_UPDATER_STAY", "0");
       for (const std::string& address :
            {std::string(), "unix:path=" + machine.places.root + "/no bus", std::string("odd:")}) {
         machine.List("one");
         Machine::Set("DBUS_SESSION_BUS_ADDRESS", address);
         machine.StartAction(machine.Application());
         machine.AwaitEnd();
         AwaitFetched(machine, "without a bus");
       }
     }},
};

}  // namespace

std::span<const Check> MessageChecks() { return kChecks; }

}  // namespace conformance
