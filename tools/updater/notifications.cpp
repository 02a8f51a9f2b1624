#include "updater/notifications.h"

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <csignal>
#include <new>
#include <utility>

#include "util/trace_log.h"

namespace updater {

namespace {

constexpr int kEndRequests[] = {SIGTERM, SIGINT, SIGHUP};

void ChangeMask(int how) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int request : kEndRequests) sigaddset(&signals, request);
  sigprocmask(how, &signals, nullptr);
}

}  // namespace

void HoldEndRequests() { ChangeMask(SIG_BLOCK); }

void AdmitEndRequests() { ChangeMask(SIG_UNBLOCK); }

Notifications::Notifications(Handler handler) : handler_(std::move(handler)) {
  if (sd_event_new(&event_) < 0) throw std::bad_alloc();
  for (const int request : kEndRequests) {
    sd_event_add_signal(event_, nullptr, request, nullptr, nullptr);
  }
  if (Connect()) return;
  kxl::LogMessage(kxl::kLogNormal, kxl::Flush::kYes, "Not on the session bus.");
  bus_ = sd_bus_flush_close_unref(bus_);
}

Notifications::~Notifications() {
  sd_bus_flush_close_unref(bus_);
  sd_event_unref(event_);
}

bool Notifications::Connect() {
  const auto filter = [](sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    static_cast<const Notifications*>(self)->Handle(message);
    return 0;
  };
  return sd_bus_open_user(&bus_) >= 0 && sd_bus_add_filter(bus_, nullptr, filter, this) >= 0 &&
         sd_bus_add_match(bus_, nullptr,
                          "type='signal',path='/com/kelda/updater6',"
                          "interface='com.kelda.updater6.Notification',member='Posted'",
                          nullptr, nullptr) >= 0 &&
         sd_bus_request_name(bus_, "com.kelda.updater6", SD_BUS_NAME_QUEUE) >= 0 &&
         sd_bus_attach_event(bus_, event_, SD_EVENT_PRIORITY_NORMAL) >= 0;
}

void Notifications::Handle(sd_bus_message* message) const {
  const char* name = nullptr;
  const char* object = nullptr;
  if (sd_bus_message_is_method_call(message, "org.freedesktop.Application", "Activate") > 0) {
    handler_("Activate");
  } else if (sd_bus_message_is_signal(message, "com.kelda.updater6.Notification", "Posted") > 0 &&
             sd_bus_message_read(message, "ss", &name, &object) > 0) {
    handler_(object);
  }
}

void Notifications::Serve(std::chrono::seconds quiet) {
  const auto patience = static_cast<std::uint64_t>(std::chrono::microseconds(quiet).count());
  while (sd_event_run(event_, patience) > 0) {
  }
}

}  // namespace updater
