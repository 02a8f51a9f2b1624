// Does an update wait? The one question that an application waits for an answer to.
#include <kxl/kxl.h>

#include <chrono>
#include <csignal>
#include <string>

#include "esd/number_text.h"
#include "esd/resource_locker.h"
#include "stores/lock_files.h"
#include "updater_check/check.h"
#include "updater_check/files.h"
#include "updater_check/machine.h"
#include "updater_check/trace.h"

namespace conformance {

namespace {

using std::chrono::milliseconds;

std::string LockOf(const std::string& id) { return kxl::RequestLockName(id); }

void RequireAnswer(const Machine& machine, const std::string& id) {
  Require(fs::exists(machine.AnswerOf(id)), "the query is answered", "there is no answer",
          {machine.AnswerOf(id)});
}

// Holds the locks of all files, so that whoever has to wait for one waits.
class EverythingLocked {
 public:
  explicit EverythingLocked(const Places& places)
      : locks_{{places.preferences, 0},
               {places.applications, 0},
               {places.components, 0},
               {places.holds, 0}} {
    for (esd::ResourceLocker& lock : locks_) lock.Lock();
  }

 private:
  esd::ResourceLocker locks_[4];
};

// How often something is tried that has to happen in the middle of a query, which may be short.
constexpr int kTries = 20;

// The updater, as soon as it has the query's lock, or when it is done already.
pid_t StartQueryAndAwaitItsLock(Machine& machine, const std::string& id) {
  const pid_t updater = machine.StartQuery(id);
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!IsHeld(LockOf(id)) && !machine.HasEnded()) {
    Require(std::chrono::steady_clock::now() < end, "the updater takes the query's lock",
            "it does not, and runs on", {esd::SemaphorePath(LockOf(id))});
  }
  return updater;
}

constexpr Check kChecks[] = {
    {"query-lock-first", "query-lock", "a query's lock is taken before anything that may wait",
     [](Machine& machine) {
       const std::string id = machine.Application();
       // The waits for other locks are 2 and 3 seconds. A machine may be slow, but not each time.
       constexpr milliseconds kBeforeAnyWait(1500);
       bool isFirst = false;
       for (int attempt = 0; attempt < 3 && !isFirst; ++attempt) {
         {
           const EverythingLocked locked(machine.places);
           machine.StartQuery(id);
           isFirst = Await([&] { return IsHeld(LockOf(id)); }, kBeforeAnyWait);
         }
         machine.AwaitEnd();
       }
       Require(isFirst, "the query's lock is held from the start on, whatever else is locked",
               "it was free still after 1.5 seconds, three times",
               {esd::SemaphorePath(LockOf(id))});
     }},
    {"query-lock-held", "query-lock", "a query's lock is held until the answer is there",
     [](Machine& machine) {
       const std::string id = machine.Application();
       const std::string answer = machine.AnswerOf(id);
       fs::create_directories(fs::path(answer).parent_path());
       Trace trace({fs::path(answer).parent_path()}, {LockOf(id)});
       machine.StartQuery(id);
       machine.AwaitEnd();
       bool isHeld = false;
       bool isAnswered = false;
       for (const Step& step : trace.Steps()) {
         if (step.event == Event::kTaken) isHeld = true;
         if (step.event == Event::kGiven) {
           Require(isAnswered, "the lock is given back behind the answer",
                   "it was given back before there was one", {answer});
           isHeld = false;
         }
         if (step.path != answer) continue;
         Require(isHeld, "the answer is written under the query's lock",
                 "it was written while the lock was free", {answer});
         isAnswered = true;
       }
       RequireAnswer(machine, id);
     }},
    {"query-answer", "query-answer", "an answer is never seen half written",
     [](Machine& machine) {
       const std::string id = machine.Application();
       const std::string answer = machine.AnswerOf(id);
       const std::string folder = fs::path(answer).parent_path();
       ConstantReader reader(answer);
       for (int round = 0; round < 20; ++round) {
         fs::create_directories(folder);
         Trace trace({folder}, {});
         machine.StartQuery(id);
         machine.AwaitEnd();
         for (const Step& step : trace.Steps()) {
           Require(step.path != answer || step.event != Event::kModified,
                   "an answer is written under another name, and takes its own by a rename",
                   "it was written in its place", {answer});
         }
         const std::string text = ReadFile(answer);
         std::int32_t number = 0;
         Require(esd::ParseInteger(Element(text, "UpdateInfo", "Result"), number),
                 "an answer is <UpdateInfo><Result>, an integer",
                 text.empty() ? "there is none" : text, {answer});
         fs::remove_all(folder);
       }
       reader.RequireWhole("an answer that has its name is whole");
     }},
    {"query-number", "query-answer",
     "0 is answered when no update waits, another number when one does",
     [](Machine& machine) {
       const std::string with = machine.Application(".with");
       const std::string without = machine.Application(".without");
       machine.OfferUpdate(with);
       for (const std::string& id : {with, without}) {
         std::int32_t number = -1;
         const std::int32_t code = machine.Ask(id, number);
         Require(code == ESD_ERR_OK && number != -1 && (number != 0) == (id == with),
                 id == with
                     ? "ESD_ERR_OK and a number other than 0 and -1: the catalogue has an update"
                     : "ESD_ERR_OK and 0: the catalogue has no update",
                 "the code " + std::to_string(code) + ", the number " + std::to_string(number),
                 {machine.AnswerOf(id), machine.places.catalogue + "/catalogue.xml"});
       }
     }},
    {"query-identifiers", "query-identifiers", "a query is answered whatever the identifier holds",
     [](Machine& machine) {
       const std::string longest(250 - machine.Application().size(), 'x');
       for (const std::string& odd :
            {std::string(" "), std::string("'"), std::string("\""), std::string("&<>"),
             std::string("$(touch a)`touch b`"), std::string(";"), std::string("%s%n"),
             std::string("\\"), std::string("\n"), std::string("\t"), std::string("*?"),
             std::string("\x01\x1B\x7F"), std::string(".xml"), longest}) {
         const std::string id = machine.Application(odd);
         machine.StartQuery(id);
         machine.AwaitEnd();
         RequireAnswer(machine, id);
         RequireFree(LockOf(id));
       }
     }},
    {"query-busy", "query-busy",
     "who finds a query's lock held answers nothing and leaves it alone",
     [](Machine& machine) {
       const std::string id = machine.Application();
       esd::ResourceLocker other(LockOf(id), 0);
       other.Lock();
       machine.StartQuery(id);
       machine.AwaitEnd();
       Require(IsHeld(LockOf(id)), "a lock that another process holds is left alone",
               "it was removed", {esd::SemaphorePath(LockOf(id))});
       Require(!fs::exists(machine.AnswerOf(id)), "the updater that has the lock answers",
               "another one has answered", {machine.AnswerOf(id)});
     }},
    {"query-waits", "query-busy", "the library's look at a query's lock is waited for",
     [](Machine& machine) {
       const std::string id = machine.Application();
       {
         esd::ResourceLocker look(LockOf(id), 0);
         look.Lock();
         machine.StartQuery(id);
         Await([&] { return machine.HasEnded(); }, milliseconds(500));
       }
       machine.AwaitEnd();
       RequireAnswer(machine, id);
       RequireFree(LockOf(id));
     }},
    {"query-several", "query-busy", "of several updaters at once one answers, and all end",
     [](Machine& machine) {
       const std::string id = machine.Application();
       ConstantReader reader(machine.AnswerOf(id));
       for (int i = 0; i < 8; ++i) machine.StartQuery(id);
       machine.AwaitEnd();
       reader.RequireWhole("an answer that has its name is whole");
       RequireAnswer(machine, id);
       RequireFree(LockOf(id));
     }},
    {"query-terminated", "locks-signals", "SIGTERM in the middle of a query leaves no lock",
     [](Machine& machine) {
       const std::string id = machine.Application();
       for (int i = 0; i < kTries; ++i) {
         Signal(StartQueryAndAwaitItsLock(machine, id), SIGTERM);
         machine.AwaitEnd();
         RequireFree(LockOf(id));
       }
       {
         const EverythingLocked locked(machine.places);
         Signal(StartQueryAndAwaitItsLock(machine, id), SIGTERM);
         Await([&] { return machine.HasEnded(); }, milliseconds(200));
       }
       machine.AwaitEnd();
       RequireFree(LockOf(id));
     }},
    {"query-killed", "query-killed", "after a killed updater the next one answers",
     [](Machine& machine) {
       const std::string id = machine.Application();
       {
         const EverythingLocked locked(machine.places);
         Signal(StartQueryAndAwaitItsLock(machine, id), SIGKILL);
         machine.AwaitEnd();
       }
       esd::ResourceLocker(LockOf(id), 0).Unlock(esd::Force::kYes);
       fs::remove(machine.AnswerOf(id));
       std::int32_t number = -1;
       const std::int32_t code = machine.Ask(id, number);
       Require(code == ESD_ERR_OK, "ESD_ERR_OK", "the code " + std::to_string(code),
               {machine.AnswerOf(id)});
     }},
    {"query-given-up", "query-given-up", "an answer whose folder has gone is not written",
     [](Machine& machine) {
       const std::string id = machine.Application();
       const std::string folder = fs::path(machine.AnswerOf(id)).parent_path();
       const std::string aside = machine.places.root + "/given-up";
       for (int i = 0; i < kTries; ++i) {
         const pid_t updater = StartQueryAndAwaitItsLock(machine, id);
         Signal(updater, SIGSTOP);
         fs::rename(folder, aside);  // at once: it may take a moment until the updater stops
         Signal(updater, SIGCONT);
         machine.AwaitEnd();
         fs::remove_all(aside);
         Require(!fs::exists(folder), "nobody makes the folder of a question that was given up",
                 "it is there again", {folder});
         RequireFree(LockOf(id));
       }
     }},
};

}  // namespace

std::span<const Check> QueryChecks() { return kChecks; }

}  // namespace conformance
