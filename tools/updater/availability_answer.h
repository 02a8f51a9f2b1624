// Answering an application that asks whether an update waits for it.
#ifndef KXL_TOOLS_UPDATER_AVAILABILITY_ANSWER_H
#define KXL_TOOLS_UPDATER_AVAILABILITY_ANSWER_H

#include <string>

#include "updater/misbehaviour.h"

namespace updater {

// Writes the answer, 1 when an update waits and else 0, to the file that the library has named.
// Holds the request's lock from the beginning to the end: while it is held the application is told
// to ask again, and a lock file whose lock is free counts as left behind. Does nothing when another
// updater holds it already. False when the answer cannot be written.
bool AnswerAvailability(const std::string& appId, const std::string& answerPath,
                        const Misbehaviour& misbehaviour);

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_AVAILABILITY_ANSWER_H
