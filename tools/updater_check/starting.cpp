// Being started: the tasks, and what an updater may find around it.
#include <kxl/kxl.h>

#include <string>
#include <utility>

#include "esd/resource_locker.h"
#include "stores/lock_files.h"
#include "updater_check/check.h"
#include "updater_check/documents.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"

namespace conformance {

namespace {

void RequireNoCheck(const Machine& machine, std::string_view task) {
  const std::string text = ReadFile(machine.places.preferences);
  const std::string date = text.empty() ? "" : Element(text, "KeldaUpdater", "LastDateCheck");
  Require(date.empty() || date == "(none)", std::string(task) + " is not a check",
          "one was recorded", {machine.places.preferences});
}

void RequireAnswer(const Machine& machine, const std::string& id) {
  Require(fs::exists(machine.AnswerOf(id)), "the query is answered", "there is no answer",
          {machine.AnswerOf(id)});
}

constexpr Check kChecks[] = {
    {"start-check", "start-tasks", "a manual and a scheduled check are made, and recorded",
     [](Machine& machine) {
       for (const char* mode : {"0", "1"}) {
         machine.Run(Mode(mode));
         machine.RequireRecorded();
         fs::remove(machine.places.preferences);
       }
     }},
    {"start-fetch", "start-tasks", "components that an application reports are fetched",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       Machine::Report(machine.Application(), "one");
       machine.AwaitEnd();
       Require(machine.IsDownloaded("content of one"),
               "the component is in the folder of downloads", "there is no such file",
               {machine.places.downloads, machine.places.catalogue + "/catalogue.xml"});
     }},
    {"start-action", "start-tasks", "the plug-in action of an application is no check",
     [](Machine& machine) {
       const std::string id = machine.Application();
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       const std::int32_t code = KXLDoPluginAction(id.c_str());
       machine.AwaitEnd();
       Require(code == ESD_ERR_OK, "ESD_ERR_OK", "the code " + std::to_string(code),
               {machine.places.applications});
       RequireNoCheck(machine, "an action");
     }},
    {"start-nothing-left", "start-nothing-left", "with the last application, what was left goes",
     [](Machine& machine) {
       const std::string id = machine.Application();
       WriteFile(machine.AnswerOf(id), "an answer that nobody has fetched");
       WriteFile(machine.places.lockFiles + "/lock." + id, "lock");
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       KXLUnRegisterApplication(id.c_str());
       machine.AwaitEnd();
       for (const std::string& file :
            {machine.AnswerOf(id), machine.places.lockFiles + "/lock." + id}) {
         Require(!fs::exists(file), "answers and lock files of nobody are removed", "one is left",
                 {file});
       }
     }},
    {"start-somebody-left", "start-nothing-left",
     "what belongs to an application that is there, or asks, is left alone",
     [](Machine& machine) {
       const std::string id = machine.Application();
       const std::string answer = machine.AnswerOf(id);
       WriteFile(answer, "<UpdateInfo><Result>0</Result></UpdateInfo>");
       WriteFile(machine.places.lockFiles + "/lock." + id, "lock");
       const auto requireLeft = [&](std::string_view why) {
         machine.Run(NothingLeft());
         for (const std::string& file : {answer, machine.places.lockFiles + "/lock." + id}) {
           Require(fs::exists(file), why, "it has gone", {file});
         }
       };
       {
         esd::ResourceLocker working(kxl::RequestLockName(id), 0);
         working.Lock();
         requireLeft("a query that somebody works on is left alone");
       }
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       requireLeft("nothing is removed when an application has registered meanwhile");
     }},
    {"start-stale-mode", "start-first",
     "a query or an action beside the mode of an earlier call counts",
     [](Machine& machine) {
       const std::string id = machine.Application();
       for (const char* mode : {"0", "1", "3", "5"}) {
         Machine::Set("KX_LAUNCH_MODE", mode);
         machine.StartQuery(id);
         machine.AwaitEnd();
         RequireAnswer(machine, id);
         fs::remove(machine.AnswerOf(id));
         machine.StartAction(id);
         machine.AwaitEnd();
       }
       RequireNoCheck(machine, "a query or an action");
     }},
    {"start-stale-action", "start-first", "a query beside an action counts",
     [](Machine& machine) {
       const std::string id = machine.Application();
       Machine::Set("doActionAppID", id);
       machine.StartQuery(id);
       machine.AwaitEnd();
       RequireAnswer(machine, id);
     }},
    {"start-stale-application", "start-stale-application",
     "fetching does not stop at the application of an earlier check",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.List("one");
       kxl::EnvironmentList task = Fetch();
       task.emplace_back("KX_LAUNCH_APPID", machine.Application(".other"));
       task.emplace_back("KX_DISPLAY_LANG", "en_US");
       machine.Run(task);
       Require(machine.Listed().empty(), "all listed components are fetched",
               "only one application's were", {machine.places.components});
     }},
    {"start-unknown-mode", "start-unknown-mode", "an unknown mode does no harm",
     [](Machine& machine) {
       const std::string id = machine.Application();
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       machine.List("one");
       const std::string applications = ReadFile(machine.places.applications);
       const std::string components = ReadFile(machine.places.components);
       for (const char* mode : {"2", "4", "99", "-1", " 3", "three", "99999999999999999999"}) {
         machine.Run(Mode(mode));
         Require(ReadFile(machine.places.applications) == applications &&
                     ReadFile(machine.places.components) == components,
                 "the lists are as they were", "they are not, after the mode " + std::string(mode),
                 {machine.places.applications, machine.places.components});
       }
     }},
    {"start-two", "start-two", "two updaters at once do the work of one",
     [](Machine& machine) {
       for (int round = 0; round < 5; ++round) {
         const std::string name = "part" + std::to_string(round);
         const std::string content(2000000, static_cast<char>('a' + round));
         machine.Offer(name, content);
         machine.List(name);
         machine.Start(Fetch());
         machine.Start(ManualCheck());
         machine.Start(Fetch());
         machine.AwaitEnd();
         Require(machine.Listed().empty() && machine.IsDownloaded(content),
                 "what is listed is fetched, whole, and taken off", "it is not",
                 {machine.places.components, machine.places.downloads});
         machine.RequireRecorded();
       }
     }},
    {"start-beside", "start-two", "a query is answered while another updater is at work",
     [](Machine& machine) {
       const std::string id = machine.Application();
       {
         esd::ResourceLocker preferences(machine.places.preferences, 0);
         preferences.Lock();
         machine.Start(ManualCheck());
         machine.StartQuery(id);
         Await([&] { return fs::exists(machine.AnswerOf(id)); }, std::chrono::milliseconds(300));
       }
       machine.AwaitEnd();
       RequireAnswer(machine, id);
     }},
    {"start-streams", "start-streams", "without standard streams, nothing is printed into a file",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.List(machine.Application(), {"one", "two"});
       machine.StartWithoutStreams(ManualCheck());
       machine.AwaitEnd();
       machine.RequireRecorded();
       machine.StartWithoutStreams(Fetch());
       machine.AwaitEnd();
       Require(machine.Listed() == std::vector<std::string>{"two"} &&
                   machine.IsDownloaded("content of one"),
               "the component is fetched, and its content is as it was", "it is not",
               {machine.places.components, machine.places.downloads});
     }},
    {"start-places", "start-places", "the user's folder is found as the library finds it",
     [](Machine& machine) {
       const Places& places = machine.places;
       const std::string elsewhere = places.root + "/elsewhere";
       const struct {
         std::string home;
         std::string data;  // XDG_DATA_HOME
         std::string preferences;
       } cases[] = {
           {"", "", places.preferences},
           {"relative", "", places.preferences},
           {places.home, "relative", places.preferences},
           {elsewhere, "", elsewhere + "/.local/share/Kelda/Updater6/KeldaUpdaterPrefs.dat"},
           {"", elsewhere, elsewhere + "/Kelda/Updater6/KeldaUpdaterPrefs.dat"}};
       for (const auto& [home, data, preferences] : cases) {
         Machine::Set("HOME", home);
         Machine::Set("XDG_DATA_HOME", data);
         machine.Run(ManualCheck());
         machine.RequireRecorded(preferences);
         fs::remove(preferences);
       }
     }},
};

}  // namespace

std::span<const Check> StartingChecks() { return kChecks; }

}  // namespace conformance
