#include "updater_check/session_bus.h"

#include <systemd/sd-bus.h>

#include <stdexcept>

namespace conformance {

namespace {

constexpr char kUpdater[] = "com.kelda.updater6";
constexpr char kObject[] = "/com/kelda/updater6";
constexpr char kInterface[] = "com.kelda.updater6.Notification";
constexpr char kNoticeService[] = "org.freedesktop.Notifications";

}  // namespace

SessionBus::SessionBus() {
  if (sd_bus_open_user(&bus_) < 0) throw std::runtime_error("the session bus cannot be reached");
}

SessionBus::~SessionBus() { sd_bus_flush_close_unref(bus_); }

bool SessionBus::HasOwner(const std::string& name) const {
  return sd_bus_get_name_creds(bus_, name.c_str(), 0, nullptr) >= 0;
}

void SessionBus::Post(const char* name, const char* object) const {
  if (object == nullptr) {
    sd_bus_emit_signal(bus_, kObject, kInterface, "Posted", "s", name);
  } else {
    sd_bus_emit_signal(bus_, kObject, kInterface, "Posted", "ss", name, object);
  }
  sd_bus_flush(bus_);
}

void SessionBus::CallUnknown() const {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(bus_, &message, kUpdater, kObject, kInterface, "Unknown") <
      0) {
    throw std::bad_alloc();
  }
  sd_bus_message_set_expect_reply(message, 0);
  sd_bus_send(bus_, message, nullptr);
  sd_bus_message_unref(message);
  sd_bus_flush(bus_);
}

void SessionBus::ShowNotices() {
  const auto answer = [](sd_bus_message* message, void* self, sd_bus_error* /*error*/) {
    if (sd_bus_message_is_method_call(message, kNoticeService, "Notify") <= 0) return 0;
    ++static_cast<SessionBus*>(self)->notices_;
    return sd_bus_reply_method_return(message, "u", 1U);
  };
  if (sd_bus_request_name(bus_, kNoticeService, 0) < 0 ||
      sd_bus_add_filter(bus_, nullptr, answer, this) < 0) {
    throw std::runtime_error("there can be no service for notices");
  }
}

int SessionBus::Notices() {
  while (sd_bus_process(bus_, nullptr) > 0) {
  }
  return notices_;
}

}  // namespace conformance
