#include "support/updater.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "support/test_folder.h"

namespace kxl_test {

SessionBus::SessionBus() {
  const std::string address = "unix:path=" + InTestFolder("bus");
  const std::string command = "exec dbus-daemon --session --nofork --print-pid --address=";
  daemon_ = popen((command + address).c_str(), "re");
  if (daemon_ == nullptr || fscanf(daemon_, "%d", &id_) != 1) abort();  // it listens by then
  setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
}

SessionBus::~SessionBus() {
  kill(id_, SIGTERM);
  pclose(daemon_);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

namespace {

int TellMessage(sd_bus_message* message, void* parent, sd_bus_error* /*error*/) {
  const char* interface = sd_bus_message_get_interface(message);
  if (interface == nullptr || std::string_view(interface) == "org.freedesktop.DBus") return 0;
  std::string text = std::string(sd_bus_message_get_path(message)) + " " + interface + "." +
                     sd_bus_message_get_member(message);
  const char* name = nullptr;
  const char* object = nullptr;
  if (sd_bus_message_has_signature(message, "ss") &&
      sd_bus_message_read(message, "ss", &name, &object) > 0) {
    text += std::string(" ") + name + " / " + object;
  }
  static_cast<const Link*>(parent)->Write(text + "\n");
  return 1;
}

int ListenOnBus(const Link& parent, const Arguments& /*arguments*/) {
  prctl(PR_SET_NAME, "Kelda Updater");
  sd_bus* bus = nullptr;
  if (sd_bus_open_user(&bus) < 0 || sd_bus_request_name(bus, "com.kelda.updater6", 0) < 0 ||
      sd_bus_add_match(bus, nullptr, "type='signal',interface='com.kelda.updater6.Notification'",
                       nullptr, nullptr) < 0 ||
      sd_bus_add_filter(bus, nullptr, TellMessage, const_cast<Link*>(&parent)) < 0) {
    return 1;
  }
  parent.Tell();
  for (;;) {
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0 || (processed == 0 && sd_bus_wait(bus, UINT64_MAX) < 0)) return 0;
  }
}

}  // namespace

ListeningUpdater::ListeningUpdater() : ChildProcess(ListenOnBus) {
  if (!Await()) abort();
}

std::string ListeningUpdater::NextMessage() const {
  std::string line;
  for (char byte; read(readEnd_, &byte, 1) == 1 && byte != '\n';) line += byte;
  return line;
}

StartedUpdater::StartedUpdater() {
  WriteScript(UpdaterExecutable(),
              "echo \"${KX_LAUNCH_MODE--} ${KX_DISPLAY_LANG--} ${KX_LAUNCH_APPID--}\" "
              ">\"$KXL_ROOT/fifo\"\n");
  if (mkfifo(InTestFolder("fifo").c_str(), 0600) != 0) abort();
}

std::string StartedUpdater::Task() const {
  std::string task = ReadFile(InTestFolder("fifo"));
  return task.substr(0, task.find('\n'));
}

void StartedUpdater::Uninstall() { fs::remove_all(InTestFolder("opt")); }

}  // namespace kxl_test
