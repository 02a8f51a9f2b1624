// Telling a running updater something over the user's session bus. The bus library is loaded when
// it is first needed. Without it, without a bus, or with one that does not answer until the
// deadline, nothing is sent and nobody is told: the updater reads the files anyway.
#ifndef KXL_PLATFORM_SESSION_BUS_H
#define KXL_PLATFORM_SESSION_BUS_H

#include <chrono>

namespace kxl {

// When to stop waiting for the bus: half a second from now. A request that sends twice passes the
// same one twice, so that a bus that never answers costs it no more.
using BusDeadline = std::chrono::steady_clock::time_point;
inline BusDeadline BusPatience() {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
}

// Asks the updater to come to the front: the method Activate of org.freedesktop.Application, to the
// name com.kelda.updater6 at /com/kelda/updater6, one way, without starting it.
void ActivateUpdater(BusDeadline deadline);

// Post the notification "Kelda Updater 6 Notification" with the object string "Signal Express
// Download" (components to fetch were listed) or "Signal KXL Suppression" (the holds have changed):
// the signal Posted(ss) of the interface com.kelda.updater6.Notification from /com/kelda/updater6.
// It has left this process when the call returns. Always true: nobody can tell whether it arrived.
bool PostExpressDownloadSignal(BusDeadline deadline = BusPatience());
bool PostSuppressionSignal(BusDeadline deadline = BusPatience());

}  // namespace kxl

#endif  // KXL_PLATFORM_SESSION_BUS_H
