// Being told things over the user's session bus.
#ifndef KXL_TOOLS_UPDATER_NOTIFICATIONS_H
#define KXL_TOOLS_UPDATER_NOTIFICATIONS_H

#include <chrono>
#include <functional>
#include <string_view>

struct sd_bus;
struct sd_bus_message;
struct sd_event;

namespace updater {

// Lets SIGTERM, SIGINT and SIGHUP wait for Notifications::Serve, and end nothing else from now on:
// the task at hand is finished, and its locks are given back. To be called before any is taken.
void HoldEndRequests();
// They end this process at once from now on.
void AdmitEndRequests();

// Owns the name com.kelda.updater6 for as long as one lives, or stands in line for it. What is
// posted meanwhile waits for Serve. Without a bus nothing is ever received.
class Notifications {
 public:
  // Is given the object string of each notification, and "Activate" to come to the front. Must not
  // throw.
  using Handler = std::function<void(std::string_view)>;

  explicit Notifications(Handler handler);
  ~Notifications();
  Notifications(const Notifications&) = delete;
  Notifications& operator=(const Notifications&) = delete;

  // Handles what comes until nothing has come for so long, or until a request to end that was held,
  // before or meanwhile.
  void Serve(std::chrono::seconds quiet);

 private:
  void Handle(sd_bus_message* message) const;
  bool Connect();

  Handler handler_;
  sd_event* event_ = nullptr;
  sd_bus* bus_ = nullptr;
};

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_NOTIFICATIONS_H
