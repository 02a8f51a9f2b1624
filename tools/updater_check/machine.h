// The private machine that the body of a check runs on, as kxl-test-machine has made it, with the
// updater to judge. What the body wants of the library it calls itself: its environment is the
// machine's.
#ifndef KXL_TOOLS_UPDATER_CHECK_MACHINE_H
#define KXL_TOOLS_UPDATER_CHECK_MACHINE_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/launcher.h"
#include "updater_check/places.h"

namespace conformance {

// Generous: what is judged is order and content. What has not come by then does not come.
inline constexpr std::chrono::seconds kPatience{30};

// Rounds that have been tried by then are enough for an updater that takes its time.
inline constexpr std::chrono::seconds kLongEnough{60};

// Looks again and again; whether it held in time.
bool Await(const std::function<bool()>& holds, std::chrono::milliseconds limit = kPatience);

// Sends the process a signal; whether there is that process.
void Signal(pid_t process, int signal);
bool IsThere(pid_t process);

// Whether somebody holds the lock on the resource, and which hold that is: a number that no other
// one has at the same time, 0 for none.
bool IsHeld(const std::string& resource);
std::uint64_t HoldOn(const std::string& resource);

// Requires that it is free.
void RequireFree(const std::string& resource);

// The date where the user is, as the preferences have it.
std::string Today();

// The launch modes, as variables.
kxl::EnvironmentList Mode(const std::string& mode);
inline kxl::EnvironmentList ManualCheck() { return Mode("0"); }
inline kxl::EnvironmentList ScheduledCheck() { return Mode("1"); }
inline kxl::EnvironmentList Fetch() { return Mode("3"); }
inline kxl::EnvironmentList NothingLeft() { return Mode("5"); }

class Machine {
 public:
  // The one that this process's environment names. Updaters that are started from now on are
  // children of this process in the end, whoever starts them.
  Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  const Places places;

  // An identifier that nobody else on the system uses, with the text somewhere in it; the same for
  // the same text.
  std::string Application(std::string_view text = "") const;

  // The resources of all locks but a query's.
  std::vector<std::string> Locks() const {
    return {places.applications, places.components, places.preferences, places.holds};
  }

  // Starts the updater as the library does, with that task and none of an earlier one. The process.
  pid_t Start(const kxl::EnvironmentList& task);
  pid_t StartAction(const std::string& id);
  // With the folder of the answer, as the library makes it. The answer is AnswerOf(id).
  pid_t StartQuery(const std::string& id);
  std::string AnswerOf(const std::string& id) const { return places.answers + "/" + id + "/7.xml"; }
  // Asks the library whether an update waits for the application until that has an answer: the
  // code, and the number. It breaks the rule when an updater ends without one.
  std::int32_t Ask(const std::string& id, std::int32_t& number);

  // Starts it so that it goes on and listens, with an action as its task, and waits until it owns
  // its name on the bus. Skips the check when it never does.
  pid_t StartListening();

  // Runs the program itself, with the three standard streams closed.
  pid_t StartWithoutStreams(const kxl::EnvironmentList& task);

  // What this process hands on to the updaters that it starts from now on. An empty text unsets the
  // variable.
  static void Set(const std::string& name, const std::string& value);
  static void SetUmask(mode_t mask);
  // From now on the updaters that are started may read and write only what its modes allow, as if
  // they were not root's. Skips the check where root cannot give that up.
  static void GiveUpPrivileges();

  // Gives the folder to another group than this process's own, for the files in it to belong to.
  // That group; skips the check where there is none.
  static gid_t GiveToAnotherGroup(const std::string& folder);
  static gid_t GroupOf(const std::string& path);

  // Puts a disk of a megabyte in the place of the folder, empty, for this process and the updaters
  // that it starts from now on. Skips the check where that is not allowed.
  static void MountSmallDisk(const std::string& folder);
  // Makes a file of all the room that is left.
  static void FillDisk(const std::string& filler);
  static void MakeFifo(const std::string& path);

  // Whether all updaters, and whatever they have started, have ended.
  bool HasEnded();
  // Kills those that still run, at the end of a check.
  void KillAll();
  // Waits until all have ended; it breaks the rule not to.
  void AwaitEnd(std::chrono::milliseconds limit = kPatience);
  void Run(const kxl::EnvironmentList& task) {
    Start(task);
    AwaitEnd();
  }

  // Requires that a check has been recorded in these preferences.
  void RequireRecorded(const std::string& preferences) const;
  void RequireRecorded() const { RequireRecorded(places.preferences); }

  // Puts a component, or an update, into the catalogue that the updater under test offers from.
  void Offer(const std::string& name, const std::string& content,
             std::string_view category = "parts", std::string_view version = "1.2");
  void OfferUpdate(const std::string& id);

  // Has the library list that the application lacks the component of that name, and tell the
  // updater or start it.
  static void Report(const std::string& id, const std::string& name);

  // Lists that the application lacks the components, as the library does before it tells anybody.
  void List(const std::string& id, const std::vector<std::string>& names) const;
  void List(const std::string& name) const { List(Application(), {name}); }
  // The names of the listed components, in order. A list that does not parse breaks the rule.
  std::vector<std::string> Listed() const;
  // Whether a file with that content lies in the folder of downloads.
  bool IsDownloaded(const std::string& content, const std::string& folder) const;
  bool IsDownloaded(const std::string& content) const {
    return IsDownloaded(content, places.downloads);
  }

 private:
  pid_t NewChild();
  void WriteCatalogue() const;

  std::set<pid_t> known_;  // children
  std::string catalogue_;
};

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_MACHINE_H
