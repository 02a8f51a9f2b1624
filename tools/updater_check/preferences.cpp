// The preferences: one wait, one date, and everything else as it was.
#include <algorithm>
#include <chrono>
#include <ctime>
#include <regex>
#include <sstream>
#include <string>

#include "esd/resource_locker.h"
#include "updater_check/check.h"
#include "updater_check/documents.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/trace.h"

namespace conformance {

namespace {

std::string Setting(const Machine& machine, std::string_view name) {
  return Element(ReadFile(machine.places.preferences), "KeldaUpdater", name);
}

// Where the updater writes its log, if it writes one.
void SkipWithoutLog(Machine& machine) {
  machine.Run(ManualCheck());
  if (!fs::exists(machine.places.log)) throw Skipped("the updater writes no log");
  fs::remove(machine.places.log);
}

constexpr Check kChecks[] = {
    {"preferences-date", "preferences-date", "the check's date is the one where the user is",
     [](Machine& machine) {
       // A zone where it is another day than in UTC.
       const bool isMorning = std::time(nullptr) / 3600 % 24 < 12;
       Machine::Set("TZ", isMorning ? "WEST12" : "EAST-14");
       const std::string before = Today();
       machine.Run(ManualCheck());
       const std::string date = Setting(machine, "LastDateCheck");
       Require(date == before || date == Today(), "LastDateCheck is " + before, "it is " + date,
               {machine.places.preferences});
     }},
    {"preferences-launch", "preferences-launch", "a check empties Launch",
     [](Machine& machine) {
       for (const char* launch : {"Manual", "Scheduled"}) {
         WriteFile(machine.places.preferences,
                   Preferences("<Launch>" + std::string(launch) + "</Launch>\n"));
         machine.Run(*launch == 'M' ? ManualCheck() : ScheduledCheck());
         const std::string left = Setting(machine, "Launch");
         Require(left.empty() || left == "(none)", "Launch is empty", "it is " + left,
                 {machine.places.preferences});
       }
     }},
    {"preferences-kept", "preferences-kept", "all other settings stay, unknown ones too",
     [](Machine& machine) {
       const std::string kept[] = {
           "<AutoCheckFreq>2</AutoCheckFreq>",
           "<Later a=\"b\">text</Later>",
           "<MapPrefEntry MapPrefKey=\"com.example.editor\">1</MapPrefEntry>",
           "<MapPrefEntry MapPrefKey=\"one\">A &amp; B &lt;c&gt;</MapPrefEntry>",
           "<ProxyServer>proxy</ProxyServer>",
       };
       WriteFile(machine.places.preferences,
                 Preferences(kept[0] + kept[1] + "<ApplicationsEnabled>\n" + kept[2] +
                             "</ApplicationsEnabled>\n<NotificationMessage>\n" + kept[3] +
                             "</NotificationMessage>\n" + kept[4] +
                             "<Launch>Manual</Launch><LastDateCheck>2008-03-17</LastDateCheck>"));
       machine.Run(ManualCheck());
       machine.RequireRecorded();
       const std::string text = ReadFile(machine.places.preferences);
       for (const std::string& setting : kept) {
         Require(Count(text, setting) == 1, "the preferences have " + setting, text,
                 {machine.places.preferences});
       }
     }},
    {"preferences-lock", "preferences-lock", "preferences are changed by whoever holds their lock",
     [](Machine& machine) {
       WriteFile(machine.places.preferences, Preferences("<Launch>Manual</Launch>\n"));
       Trace trace({machine.places.data}, {machine.places.preferences});
       machine.Run(ManualCheck());
       RequireUnderLock(trace.Steps(), machine.places.preferences, Touch::kChange);
     }},
    {"preferences-waited", "preferences-lock",
     "preferences that are locked for a moment are waited for",
     [](Machine& machine) {
       {
         esd::ResourceLocker other(machine.places.preferences, 0);
         other.Lock();
         machine.Start(ManualCheck());
         Await([&] { return machine.HasEnded(); }, std::chrono::milliseconds(500));
       }
       machine.AwaitEnd();
       machine.RequireRecorded();
     }},
    {"preferences-wait-once", "preferences-lock", "a task waits for the preferences' lock once",
     [](Machine& machine) {
       const std::string before = Preferences("<Launch>Manual</Launch>\n");
       WriteFile(machine.places.preferences, before);
       esd::ResourceLocker other(machine.places.preferences, 0);
       other.Lock();
       machine.Start(ManualCheck());
       // Three seconds; once more for each of four settings is more than this.
       machine.AwaitEnd(std::chrono::seconds(10));
       Require(IsHeld(machine.places.preferences), "another process's lock is left alone",
               "it was removed", {esd::SemaphorePath(machine.places.preferences)});
       Require(ReadFile(machine.places.preferences) == before,
               "preferences that are locked are left alone", "they were written",
               {machine.places.preferences});
     }},
    {"preferences-none", "preferences-defaults",
     "without preferences, or with damaged ones, the defaults count",
     [](Machine& machine) {
       const std::string whole = Preferences("<AutoCheckFreq>2</AutoCheckFreq>\n");
       machine.Offer("one", "content of one");
       for (const std::string& text :
            {std::string(), whole.substr(0, whole.size() / 2), std::string("no XML"),
             std::string("<Other/>"), Preferences("<logLevel>high</logLevel>")}) {
         WriteFile(machine.places.preferences, text);
         machine.Run(ManualCheck());
         machine.RequireRecorded();
         WriteFile(machine.places.preferences, text);
         machine.List("one");
         machine.Run(Fetch());
         Require(machine.Listed().empty(), "components are fetched with the preferences: " + text,
                 "they are not", {machine.places.preferences, machine.places.components});
       }
     }},
    {"preferences-log", "preferences-log", "the log is where the preferences say",
     [](Machine& machine) {
       SkipWithoutLog(machine);
       const std::string log = machine.places.root + "/the log";
       WriteFile(machine.places.preferences, Preferences("<logFile>" + log + "</logFile>\n"));
       machine.Run(ManualCheck());
       Require(fs::exists(log) && !fs::exists(machine.places.log), "the log is there",
               fs::exists(log) ? "it is where it is by default, too" : "there is none",
               {log, machine.places.log});
     }},
    {"preferences-log-off", "preferences-log", "with logLevel 0 there is no log",
     [](Machine& machine) {
       SkipWithoutLog(machine);
       WriteFile(machine.places.preferences, Preferences("<logLevel>0</logLevel>\n"));
       machine.Run(ManualCheck());
       Require(!fs::exists(machine.places.log), "there is no log", "there is one",
               {machine.places.log});
     }},
    {"preferences-log-format", "preferences-log-format",
     "each entry of the log begins with its time",
     [](Machine& machine) {
       machine.Run(ManualCheck());
       if (!fs::exists(machine.places.log)) throw Skipped("the updater writes no log");
       std::istringstream lines(ReadFile(machine.places.log));
       const std::regex entry("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d: .*");
       std::string first;
       std::getline(lines, first);
       Require(std::regex_match(first, entry), "a line like 2008-03-17T09:05:41: Scheduled check",
               first, {machine.places.log});
     }},
};

}  // namespace

std::span<const Check> PreferenceChecks() { return kChecks; }

}  // namespace conformance
