// Holds on notices: read under their lock, and left to the applications.
#include <kxl/kxl.h>

#include <chrono>
#include <ctime>
#include <string>

#include "esd/resource_locker.h"
#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/session_bus.h"
#include "updater_check/trace.h"
#include "util/utc_time.h"

namespace conformance {

namespace {

constexpr std::time_t kHour = 3600;  // seconds

std::string Line(const std::string& id, std::time_t end) {
  return id + "\t" + kxl::FormatUtc(end, ' ') + "\r\n";
}

void Hold(std::string id, std::uint32_t seconds) {
  KXLSuppressUpdates(id.data(), nullptr, &seconds, 0);
}

void RequireHeld(const Machine& machine, std::string id, std::string_view beside) {
  std::uint32_t seconds = 0;
  std::uint32_t size = 0;
  const std::int32_t code = KXLSuppressUpdates(id.data(), &size, &seconds, 1);
  Require(
      code == ESD_ERR_OK && seconds > 0, "the hold of " + id + " runs on" + std::string(beside),
      "the library answers " + std::to_string(code) + ", " + std::to_string(seconds) + " seconds",
      {machine.places.holds});
}

constexpr Check kChecks[] = {
    {"holds-kept", "holds-kept", "holds that run are the same after a check",
     [](Machine& machine) {
       const std::string one = machine.Application(".one");
       const std::string other = machine.Application(".other");
       Hold(one, 600);
       Hold(other, 43200);
       for (const auto& task : {ManualCheck(), ScheduledCheck(), Fetch()}) machine.Run(task);
       RequireHeld(machine, one, "");
       RequireHeld(machine, other, "");
     }},
    {"holds-lines", "holds-lines",
     "lines that are no holds, or ended ones, take no other hold away",
     [](Machine& machine) {
       const std::string id = machine.Application();
       const std::time_t now = std::time(nullptr);
       for (const std::string& line :
            {Line("ended", now - kHour), Line("far", now + 1000 * kHour), Line("", now + kHour),
             std::string("no tab\r\n"), std::string("\r\n"), std::string("\n"),
             "line feed\t" + kxl::FormatUtc(now + kHour, ' ') + "\n", Line(id, now - kHour)}) {
         const std::string running = Line(id + ".running", now + kHour);
         WriteFile(machine.places.holds, line + running);
         machine.Run(ManualCheck());
         RequireHeld(machine, id + ".running", " beside the line: " + line);
         machine.RequireRecorded();
       }
     }},
    {"holds-impossible", "holds-impossible", "holds with a date that does not exist are left alone",
     [](Machine& machine) {
       const std::string id = machine.Application();
       for (const char* date : {"2008-02-30 21:05:41", "2008-03-17 25:00:00", "tomorrow", ""}) {
         const std::string text = Line(id, std::time(nullptr) + kHour) + "other\t" + date + "\r\n";
         WriteFile(machine.places.holds, text);
         machine.Run(ManualCheck());
         Require(ReadFile(machine.places.holds) == text, "the holds are as they were",
                 "they are not, with the date: " + std::string(date), {machine.places.holds});
         machine.RequireRecorded();
       }
     }},
    {"holds-read-only", "holds-read-only", "holds that may not be written are left alone",
     [](Machine& machine) {
       const std::string text = Line(machine.Application(), std::time(nullptr) - kHour) +
                                Line("running", std::time(nullptr) + kHour);
       WriteFile(machine.places.holds, text);
       SetMode(machine.places.holds, 0444);
       machine.Run(ManualCheck());
       Require(ReadFile(machine.places.holds) == text && ModeOf(machine.places.holds) == 0444,
               "the holds and their mode are as they were", "they are not", {machine.places.holds});
     }},
    {"holds-lock", "list-lock", "holds are opened by whoever holds their lock, and nobody else",
     [](Machine& machine) {
       Hold(machine.Application(), 600);
       Trace trace({machine.places.data}, {machine.places.holds});
       for (const auto& task : {ManualCheck(), ScheduledCheck()}) machine.Run(task);
       RequireUnderLock(trace.Steps(), machine.places.holds, Touch::kOpen);
     }},
    {"holds-locked", "locks-waits", "a check goes on without holds that stay locked",
     [](Machine& machine) {
       Hold(machine.Application(), 600);
       esd::ResourceLocker other(machine.places.holds, 0);
       other.Lock();
       machine.Start(ManualCheck());
       machine.AwaitEnd(std::chrono::seconds(20));
       machine.RequireRecorded();
       Require(IsHeld(machine.places.holds), "another process's lock is left alone",
               "it was removed", {esd::SemaphorePath(machine.places.holds)});
     }},
    {"holds-notices", "holds-kept", "no notice is shown while a hold runs",
     [](Machine& machine) {
       const std::string id = machine.Application();
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       machine.OfferUpdate(id);
       Hold(machine.Application(".other"), 600);
       SessionBus bus;
       bus.ShowNotices();
       machine.Start(ScheduledCheck());
       int notices = 0;
       Await([&] {
         notices = bus.Notices();
         return machine.HasEnded();
       });
       machine.AwaitEnd();
       Require(notices + bus.Notices() == 0, "org.freedesktop.Notifications is not called",
               "it was", {machine.places.holds});
     },
     Bus::kYes},
};

}  // namespace

std::span<const Check> HoldChecks() { return kChecks; }

}  // namespace conformance
