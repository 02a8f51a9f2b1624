// Lock files mark a request that the updater is working on, one for each application identifier:
// "lock.<identifier>" with the four bytes "lock", in the user's folder of lock files. The updater
// holds the machine-wide lock "KeldaUpdater6<identifier>" meanwhile; a file whose lock is free was
// left by an updater that has ended. A caller that looks for the updater's answer holds the lock
// for that moment.
//
// An identifier that cannot stand in a file name (".", "..", or with a '/') has no lock file:
// making and removing it fail, and it counts as busy.
#ifndef KXL_STORES_LOCK_FILES_H
#define KXL_STORES_LOCK_FILES_H

#include <string>

namespace kxl {

// Makes the file, or empties and rewrites it. False when that fails.
bool CreateLockFile(const std::string& name);

// True when the file is gone, or was not there.
bool RemoveLockFile(const std::string& name);

// For the updater's side; a query takes the lock itself.
// Whether the lock is held. True also without a lock file: nothing tells then that its writer has
// finished. Tries once; a held lock costs a millisecond.
bool IsLockFileBusy(const std::string& name);

// The name of the lock, for whoever works on the request.
std::string RequestLockName(const std::string& name);

}  // namespace kxl

#endif  // KXL_STORES_LOCK_FILES_H
