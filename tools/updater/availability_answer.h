// Telling whether an update waits for an application.
#ifndef KXL_TOOLS_UPDATER_AVAILABILITY_ANSWER_H
#define KXL_TOOLS_UPDATER_AVAILABILITY_ANSWER_H

#include <string>

#include "esd/resource_locker.h"
#include "updater/misbehaviour.h"

namespace updater {

// A query that this process was started for. Holds the query's lock from its making to its end: for
// as long as that is free, every call of the application starts another updater.
class AvailabilityQuery {
 public:
  // Waits a second at most for the lock, which the library takes for a moment when it looks whether
  // it is free.
  AvailabilityQuery(std::string appId, std::string answerPath);

  const std::string& AppId() const { return appId_; }

  // Writes the answer. True also when another updater works on it. False when the answer cannot be
  // written.
  bool Answer(const Misbehaviour& misbehaviour) const;

 private:
  std::string appId_;
  std::string answerPath_;
  esd::ResourceLocker lock_;
  bool isOurs_;
};

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_AVAILABILITY_ANSWER_H
