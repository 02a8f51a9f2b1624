#include "platform/session_bus.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "platform/shared_library.h"

namespace kxl {

namespace {

constexpr char kPath[] = "/com/kelda/updater6";
constexpr char kName[] = "com.kelda.updater6";

// Most hosts never get here, and should not load it.
class BusLibrary {
 public:
  bool Load() {
    return library_.Find(open, "sd_bus_open_user") && library_.Find(process, "sd_bus_process") &&
           library_.Find(wait, "sd_bus_wait") && library_.Find(isReady, "sd_bus_is_ready") &&
           library_.Find(queuedWrites, "sd_bus_get_n_queued_write") &&
           library_.Find(closeAndUnref, "sd_bus_close_unref") &&
           library_.Find(send, "sd_bus_send") &&
           library_.Find(newSignal, "sd_bus_message_new_signal") &&
           library_.Find(newCall, "sd_bus_message_new_method_call") &&
           library_.Find(setExpectReply, "sd_bus_message_set_expect_reply") &&
           library_.Find(setAutoStart, "sd_bus_message_set_auto_start") &&
           library_.Find(append, "sd_bus_message_append") &&
           library_.Find(unref, "sd_bus_message_unref");
  }

  decltype(&sd_bus_open_user) open = nullptr;
  decltype(&sd_bus_process) process = nullptr;
  decltype(&sd_bus_wait) wait = nullptr;
  decltype(&sd_bus_is_ready) isReady = nullptr;
  decltype(&sd_bus_get_n_queued_write) queuedWrites = nullptr;
  decltype(&sd_bus_close_unref) closeAndUnref = nullptr;
  decltype(&sd_bus_send) send = nullptr;
  decltype(&sd_bus_message_new_signal) newSignal = nullptr;
  decltype(&sd_bus_message_new_method_call) newCall = nullptr;
  decltype(&sd_bus_message_set_expect_reply) setExpectReply = nullptr;
  decltype(&sd_bus_message_set_auto_start) setAutoStart = nullptr;
  decltype(&sd_bus_message_append) append = nullptr;
  decltype(&sd_bus_message_unref) unref = nullptr;

 private:
  SharedLibrary library_{"libsystemd.so.0"};
};

// A bus of another kind than a local socket could start programs, or wait for name servers. The
// variable may list several, separated by semicolons.
bool IsLocalBus() {
  const char* variable = secure_getenv("DBUS_SESSION_BUS_ADDRESS");
  std::string_view addresses = variable == nullptr ? "" : variable;
  while (!addresses.empty()) {
    if (!addresses.starts_with("unix:")) return false;
    addresses.remove_prefix(std::min(addresses.find(';'), addresses.size() - 1) + 1);
  }
  return true;
}

// Lets the connection come up and everything that is queued go out.
void Flush(const BusLibrary& library, sd_bus* bus, BusDeadline deadline) {
  using Clock = std::chrono::steady_clock;
  for (;;) {
    const int processed = library.process(bus, nullptr);
    std::uint64_t queued = 0;
    if (processed < 0 || library.queuedWrites(bus, &queued) < 0) return;
    if (queued == 0 && library.isReady(bus) > 0) return;
    const auto left =
        std::chrono::duration_cast<std::chrono::microseconds>(deadline - Clock::now()).count();
    if (left <= 0) return;
    if (processed > 0) continue;
    const int waited = library.wait(bus, static_cast<std::uint64_t>(left));
    if (waited < 0 && waited != -EINTR) return;  // a signal is the host's, and no reason to stop
  }
}

// Sends what make builds; make fills in the message and answers below 0 when it cannot.
template <typename Make>
void Send(BusDeadline deadline, Make make) {
  BusLibrary library;
  if (!IsLocalBus() || !library.Load()) return;
  sd_bus* bus = nullptr;
  if (library.open(&bus) < 0) return;
  sd_bus_message* message = nullptr;
  if (make(library, bus, message) >= 0 && library.send(bus, message, nullptr) >= 0) {
    Flush(library, bus, deadline);
  }
  library.unref(message);
  library.closeAndUnref(bus);
}

void PostUpdaterNotification(const char* object, BusDeadline deadline) {
  Send(deadline, [object](const BusLibrary& library, sd_bus* bus, sd_bus_message*& message) {
    const int made =
        library.newSignal(bus, &message, kPath, "com.kelda.updater6.Notification", "Posted");
    return made < 0 ? made : library.append(message, "ss", "Kelda Updater 6 Notification", object);
  });
}

}  // namespace

void ActivateUpdater(BusDeadline deadline) {
  Send(deadline, [](const BusLibrary& library, sd_bus* bus, sd_bus_message*& message) {
    const int made =
        library.newCall(bus, &message, kName, kPath, "org.freedesktop.Application", "Activate");
    if (made < 0) return made;
    library.setExpectReply(message, 0);
    library.setAutoStart(message, 0);
    return library.append(message, "a{sv}", 0);
  });
}

bool PostExpressDownloadSignal(BusDeadline deadline) {
  PostUpdaterNotification("Signal Express Download", deadline);
  return true;
}

bool PostSuppressionSignal(BusDeadline deadline) {
  PostUpdaterNotification("Signal KXL Suppression", deadline);
  return true;
}

}  // namespace kxl
