// A place on the machine's session bus, for the other end of an updater's messages.
#ifndef KXL_TOOLS_UPDATER_CHECK_SESSION_BUS_H
#define KXL_TOOLS_UPDATER_CHECK_SESSION_BUS_H

#include <string>

struct sd_bus;

namespace conformance {

// Throws std::runtime_error when the bus cannot be reached.
class SessionBus {
 public:
  SessionBus();
  ~SessionBus();
  SessionBus(const SessionBus&) = delete;
  SessionBus& operator=(const SessionBus&) = delete;

  bool HasOwner(const std::string& name) const;

  // Posts what an updater listens to, with these two texts; without the second one it is a message
  // that it does not know.
  void Post(const char* name, const char* object) const;
  // Calls a method of the updater's object that it does not have, and awaits no reply.
  void CallUnknown() const;

  // Takes the part of the service that shows notices, and answers each of its callers.
  void ShowNotices();
  // How many notices there were so far.
  int Notices();

 private:
  sd_bus* bus_ = nullptr;
  int notices_ = 0;
};

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_SESSION_BUS_H
