// Stand-ins for the updater: one that listens on a session bus of the test's own, and one that
// tells how it was started.
#ifndef KXL_TESTS_SUPPORT_UPDATER_H
#define KXL_TESTS_SUPPORT_UPDATER_H

#include <cstdio>
#include <string>

#include "support/child_process.h"

namespace kxl_test {

// A dbus-daemon for as long as one lives; DBUS_SESSION_BUS_ADDRESS of this process leads to it.
class SessionBus {
 public:
  SessionBus();
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

 private:
  FILE* daemon_;
  pid_t id_;
};

// A running "Kelda Updater" that owns its name on the bus of this process.
class ListeningUpdater : public ChildProcess {
 public:
  ListeningUpdater();
  // What the next message was: "<path> <interface>.<member>", and the strings in it.
  std::string NextMessage() const;
};

// Installs an updater that writes the variables of its task to a FIFO, and then removes it.
class StartedUpdater {
 public:
  StartedUpdater();
  // Waits for a start; "MODE LANGUAGE APPLICATION", "-" for a variable that is not set.
  std::string Task() const;
  static void Uninstall();
};

}  // namespace kxl_test

#endif  // KXL_TESTS_SUPPORT_UPDATER_H
