// Going wrong on purpose: for host developers who want to see how their application takes it, and
// to see that kxl-updater-check finds it.
#ifndef KXL_TOOLS_UPDATER_MISBEHAVIOUR_H
#define KXL_TOOLS_UPDATER_MISBEHAVIOUR_H

namespace updater {

struct Misbehaviour {
  enum class Kind {
    kNone,
    kLate,     // does its task after so many seconds
    kGarbage,  // answers with what is no XML
    kHalf,     // answers with half a document
    kDie,      // is killed while it holds the request's lock, which stays held
    kNever,    // ends without an answer
    kExit,     // ends at once with that status
    kStale,    // takes the launch mode of an earlier call for its task, in place of a query
    kPrivate,  // leaves the list of missing components to its user alone
    kDeaf,     // ends without a last look at the missing components
    kUtc,      // records the date in UTC
    kUnhold,   // takes all holds back
    kSilent,   // heeds nothing that is posted
    kObey,     // does nothing while the administrator has switched updates off
    kHoard,    // keeps the list of missing components locked while it fetches
    kMortal,   // dies of SIGTERM at any moment
    kErase,    // removes a list that it may not read
    kLitter,   // leaves a temporary file behind
  };
  Kind kind = Kind::kNone;
  int number = 0;  // seconds or status
};

// From the variable KXL_UPDATER_MISBEHAVE: a name as above, in small letters; "late 5" and "exit 3"
// with their numbers. Throws std::runtime_error for anything else.
Misbehaviour ReadMisbehaviour();

// Waits when it is told to be late.
void DelayIfLate(const Misbehaviour& misbehaviour);

// What goes wrong behind the task: with modes, holds and files.
void SpoilFiles(const Misbehaviour& misbehaviour);

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_MISBEHAVIOUR_H
