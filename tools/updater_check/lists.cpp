// The two lists: their locks, their journals, and what is kept of them. The updater writes that of
// the missing components only.
#include <kxl/kxl.h>

#include <algorithm>
#include <string>
#include <utility>

#include "updater_check/check.h"
#include "updater_check/documents.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/trace.h"

namespace conformance {

namespace {

using Names = std::vector<std::string>;

std::string Joined(const Names& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text.empty() ? "nothing" : text;
}

void RequireListed(const Machine& machine, const Names& names) {
  const Names listed = machine.Listed();
  Require(listed == names, "listed is still: " + Joined(names), "listed is: " + Joined(listed),
          {machine.places.components});
}

// A list with a component that can be fetched and one that cannot.
void ListTwo(Machine& machine) {
  machine.Offer("one", "content of one");
  machine.List(machine.Application(), {"one", "two"});
}

// A record that lacks only this component.
std::string Lacking(const Machine& machine, const std::string& name) {
  return MissingRecord(machine.Application(),
                       Texts("Name", "/opt/folder") + MissingComponent(name));
}

std::string Repeated(const std::string& text, int times) {
  std::string repeated;
  for (int i = 0; i < times; ++i) repeated += text;
  return repeated;
}

constexpr Check kChecks[] = {
    {"list-lock", "list-lock", "the lists are opened by whoever holds their lock, and nobody else",
     [](Machine& machine) {
       ListTwo(machine);
       const std::string id = machine.Application();
       KXLRegisterApplication(id.c_str(), "Name", "/opt/folder");
       const Places& places = machine.places;
       Trace trace({places.data, places.shared}, {places.components, places.applications});
       for (const auto& task : {ScheduledCheck(), Fetch(), NothingLeft()}) machine.Run(task);
       const std::vector<Step> steps = trace.Steps();
       RequireUnderLock(steps, places.components, Touch::kOpen);
       RequireUnderLock(steps, places.applications, Touch::kOpen);
     }},
    {"list-whole", "list-journal", "who reads a list all the time finds the old one or the new one",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.List("two");
       const std::string list = machine.places.components;
       ConstantReader reader(list);
       for (int round = 0; round < 20; ++round) {
         machine.List(machine.Application(), {"one"});
         Trace trace({machine.places.data}, {});
         machine.Run(Fetch());
         for (const Step& step : trace.Steps()) {
           Require(
               step.path != list ||
                   (step.event != Event::kModified && step.event != Event::kDeleted &&
                    step.event != Event::kCreated),
               "a list is written under another name, and takes its own by an exchange or a rename",
               step.event == Event::kDeleted ? "the list had gone for a moment"
                                             : "it was written in its place",
               {list});
         }
         RequireListed(machine, {"two"});
       }
       reader.RequireWhole("the list is whole at any moment");
     }},
    {"list-journal", "list-journal-read", "a whole journal is the newer list",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.Offer("old", "content of old");
       const std::string list = machine.places.components;
       WriteFile(list, MissingComponents(Lacking(machine, "old")));
       WriteFile(list + "_", MissingComponents(Lacking(machine, "one") + Lacking(machine, "two")));
       machine.Run(Fetch());
       RequireListed(machine, {"two"});
       Require(!machine.IsDownloaded("content of old"), "the older list does not count",
               "what it lists was fetched", {list, list + "_"});
       Require(!fs::exists(list + "_"), "the journal is gone", "it is still there", {list + "_"});
     }},
    {"list-journal-first", "list-journal-read", "a whole journal without a list is the list",
     [](Machine& machine) {
       ListTwo(machine);
       const std::string list = machine.places.components;
       fs::rename(list, list + "_");
       machine.Run(Fetch());
       RequireListed(machine, {"two"});
       Require(!fs::exists(list + "_"), "the journal is gone", "it is still there", {list + "_"});
     }},
    {"list-journal-torn", "list-journal-read", "a torn journal is deleted, and the list counts",
     [](Machine& machine) {
       const std::string list = machine.places.components;
       ListTwo(machine);
       const std::string document = ReadFile(list);
       for (const std::string& torn :
            {std::string(), document.substr(0, document.size() / 2), std::string("no XML")}) {
         WriteFile(list, document);
         WriteFile(list + "_", torn);
         machine.Run(Fetch());
         RequireListed(machine, {"two"});
         Require(!fs::exists(list + "_"), "the journal is gone", "it is still there", {list + "_"});
       }
     }},
    {"list-journal-unreadable", "list-journal-read",
     "beside a journal that may not be read, the list is neither written nor removed",
     [](Machine& machine) {
       Machine::GiveUpPrivileges();
       ListTwo(machine);
       const std::string list = machine.places.components;
       const std::string document = ReadFile(list);
       WriteFile(list + "_", MissingComponents(Lacking(machine, "newer")));
       SetMode(list + "_", 0);
       machine.Run(Fetch());
       SetMode(list + "_", 0600);
       Require(ReadFile(list) == document && Count(ReadFile(list + "_"), "newer") == 1,
               "list and journal are as they were", "they are not", {list, list + "_"});
     }},
    {"list-journal-folder", "list-journal-read", "a folder of the journal's name is left alone",
     [](Machine& machine) {
       ListTwo(machine);
       const std::string list = machine.places.components;
       fs::create_directory(list + "_");
       machine.Run(Fetch());
       const Names listed = machine.Listed();
       Require(fs::is_directory(list + "_") && Count(Joined(listed), "two") == 1,
               "the folder is there, and nothing is lost from the list",
               "listed is: " + Joined(listed), {list, list + "_"});
     }},
    {"list-unknown", "list-unknown", "unknown elements and attributes stay in a record",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const std::string list = machine.places.components;
       WriteFile(list, MissingComponents(MissingRecord(
                           machine.Application(),
                           Texts("Name", "/opt/folder") + "<Later a=\"b\">text<Deeper/></Later>\n" +
                               MissingComponent("one") +
                               MissingComponent("two", "1.2.0.0", " size=\"12\""),
                           " Later=\"yes\"")));
       machine.Run(Fetch());
       RequireListed(machine, {"two"});
       const std::string text = ReadFile(list);
       for (const char* kept : {"Later=\"yes\"", "<Later a=\"b\">text", "<Deeper", "size=\"12\"",
                                "OperationType=\"4\""}) {
         Require(Count(text, kept) == 1, "the record has " + std::string(kept), text, {list});
       }
     }},
    {"list-mode", "list-modes", "a list is 0664 whatever the updater's umask is",
     [](Machine& machine) {
       ListTwo(machine);
       Machine::SetUmask(077);
       machine.Run(Fetch());
       RequireListed(machine, {"two"});
       const mode_t mode = ModeOf(machine.places.components);
       Require((mode & 0777) == 0664, "the list's mode is 0664",
               "others may " +
                   std::string((mode & 0066) == 0 ? "not even read it" : "do something else"),
               {machine.places.components});
     }},
    {"list-group", "list-modes", "a list keeps the group of its folder",
     [](Machine& machine) {
       const gid_t group = Machine::GiveToAnotherGroup(machine.places.data);
       ListTwo(machine);
       machine.Run(Fetch());
       RequireListed(machine, {"two"});
       Require(
           Machine::GroupOf(machine.places.components) == group,
           "the list belongs to the group " + std::to_string(group) + ", which its folder hands on",
           "it belongs to the group " + std::to_string(Machine::GroupOf(machine.places.components)),
           {machine.places.components});
     }},
    {"list-empty", "list-empty", "with its last record the list goes",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       machine.List("one");
       machine.Run(Fetch());
       Require(!fs::exists(machine.places.components), "there is no list when nothing is missing",
               "it is still there", {machine.places.components});
     }},
    {"list-no-record", "list-records", "what is no record of ours is not taken for one",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const std::string list = machine.places.components;
       const std::string component = MissingComponent("one");
       const std::string texts = Texts("Name", "/opt/folder");
       const std::string id = machine.Application();
       const std::string twice = texts + "<InstallPath>/b</InstallPath>";
       std::string other = "<Other AppID=\"a\">" + texts;
       other.append(component).append("</Other>");
       for (const std::string& document :
            {kDeclaration + ("<Other>" + Lacking(machine, "one") + "</Other>"),
             MissingComponents(MissingRecord(id, "<DisplayName>Name</DisplayName>" + component)),
             MissingComponents(MissingRecord(id, "<InstallPath>/a</InstallPath>" + component)),
             MissingComponents(MissingRecord(id, twice + component)), MissingComponents(other)}) {
         WriteFile(list, document);
         machine.Run(Fetch());
         Require(!machine.IsDownloaded("content of one"), "nothing is fetched of:\n" + document,
                 "the component was fetched", {list});
       }
     }},
    {"list-first", "list-first", "of two entries of one identifier the first is not lost",
     [](Machine& machine) {
       const std::string id = machine.Application();
       const std::string list = machine.places.applications;
       WriteFile(list, Applications(Application(id, Texts("First", "/opt/first")) +
                                    Application(id, Texts("Second", "/opt/second"))));
       for (const auto& task : {ManualCheck(), Fetch(), NothingLeft()}) {
         machine.Run(task);
         const std::string text = ReadFile(list);
         Require(text.find("/opt/first") < text.find("/opt/second"), "the first entry is the first",
                 text, {list});
       }
     }},
    {"list-damaged", "list-damaged", "a damaged list is set aside, and never overwritten",
     [](Machine& machine) {
       machine.Offer("one", "content of one");
       const std::string list = machine.places.components;
       const std::string whole = MissingComponents(Lacking(machine, "one"));
       for (const std::string& damaged :
            {std::string("no XML"), whole.substr(0, whole.size() - 3), whole + "<another/>",
             "<!DOCTYPE a [<!ENTITY b \"c\">]>" + whole, whole + std::string("\0", 1),
             MissingComponents(Lacking(machine, "one") + Repeated("<a>", 300) +
                               Repeated("</a>", 300))}) {
         WriteFile(list, damaged);
         fs::remove(list + ".damaged");
         fs::remove_all(machine.places.downloads);
         machine.Run(Fetch());
         const std::string what = damaged.substr(0, 200);
         Require(ReadFile(list) == damaged || ReadFile(list + ".damaged") == damaged,
                 "what was in the list is there, or set aside: " + what, "it is lost",
                 {list, list + ".damaged"});
         Require(!machine.IsDownloaded("content of one"), "nothing of it is fetched: " + what,
                 "the component was fetched", {list});
         fs::remove(list);
         machine.List("one");
         machine.Run(Fetch());
         RequireListed(machine, {});
       }
     }},
    {"list-damaged-applications", "list-damaged",
     "a damaged list of applications is not overwritten",
     [](Machine& machine) {
       const std::string list = machine.places.applications;
       const std::string id = machine.Application();
       const std::string whole = Applications(Application(id, Texts("Name", "/opt/folder")));
       for (const std::string& damaged :
            {std::string("no XML"), whole.substr(0, whole.size() / 2)}) {
         WriteFile(list, damaged);
         fs::remove(list + ".damaged");
         for (const auto& task : {ManualCheck(), NothingLeft()}) machine.Run(task);
         Require(ReadFile(list) == damaged || ReadFile(list + ".damaged") == damaged,
                 "what was in the list is there, or set aside", "it is lost",
                 {list, list + ".damaged"});
       }
     }},
};

}  // namespace

std::span<const Check> ListChecks() { return kChecks; }

}  // namespace conformance
