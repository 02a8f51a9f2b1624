#include "support/updater.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "support/test_folder.h"

namespace kxl_test {

SessionBus::SessionBus() {
  std::array<int, 2> pipe;
  if (pipe2(pipe.data(), 0) != 0) abort();
  const std::string print = "--print-address=" + std::to_string(pipe[1]);
  const std::string address = "--address=unix:path=" + InTestFolder("bus");
  daemon_ = fork();
  if (daemon_ == 0) {
    close(pipe[0]);
    execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", address.c_str(), print.c_str(),
           nullptr);
    _exit(127);
  }
  close(pipe[1]);
  char byte;
  if (read(pipe[0], &byte, 1) != 1) abort();  // it listens once it has printed
  close(pipe[0]);
  setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + InTestFolder("bus")).c_str(), 1);
}

SessionBus::~SessionBus() {
  kill(daemon_, SIGTERM);
  waitpid(daemon_, nullptr, 0);
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

CHILD_BODY(ListenOnBus) {
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

ListeningUpdater::ListeningUpdater() : ChildProcess("ListenOnBus", {}) {
  if (!Await()) abort();
}

std::string ListeningUpdater::NextMessage() const {
  std::string line;
  for (char byte; read(readEnd_, &byte, 1) == 1 && byte != '\n';) line += byte;
  return line;
}

StartedUpdater::StartedUpdater() {
  WriteFile(UpdaterExecutable(),
            "#!/bin/sh\necho \"${KX_LAUNCH_MODE--} ${KX_DISPLAY_LANG--} ${KX_LAUNCH_APPID--}\" "
            ">\"$KXL_ROOT/fifo\"\n");
  chmod(UpdaterExecutable().c_str(), 0755);
  if (mkfifo(InTestFolder("fifo").c_str(), 0600) != 0) abort();
}

std::string StartedUpdater::Task() const {
  std::string task = ReadFile(InTestFolder("fifo"));
  return task.substr(0, task.find('\n'));
}

void StartedUpdater::Uninstall() { std::filesystem::remove_all(InTestFolder("opt")); }

}  // namespace kxl_test
