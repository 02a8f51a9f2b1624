// Going wrong on purpose, for host developers who want to see how their application takes it.
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
  };
  Kind kind = Kind::kNone;
  int number = 0;  // seconds or status
};

// From the variable KXL_UPDATER_MISBEHAVE: "late 5", "garbage", "half", "die", "never" or "exit 3".
// Throws std::runtime_error for anything else.
Misbehaviour ReadMisbehaviour();

// Waits when it is told to be late.
void DelayIfLate(const Misbehaviour& misbehaviour);

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_MISBEHAVIOUR_H
