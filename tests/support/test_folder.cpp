#include "support/test_folder.h"

#include <fnmatch.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <thread>

#include "esd/resource_locker.h"

namespace kxl_test {

namespace {

std::string folder;

void ExpectNoLock(const std::string& resource) {
  const std::string semaphore = esd::SemaphorePath(resource);
  EXPECT_FALSE(fs::exists(semaphore)) << "the lock on " << resource << " was left behind";
  fs::remove(semaphore);
}

bool RunsFromTheFolder(const fs::path& process) {
  std::ifstream file(process / "cmdline", std::ios::binary);
  std::string line(4096, '\0');
  file.read(line.data(), static_cast<std::streamsize>(line.size()));  // or none: it has just ended
  return line.find(folder + "/opt/") != std::string::npos;
}

// A test may start updaters and end before they do, and the next test would find them.
void AwaitUpdaters() {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(30);
  std::error_code error;
  while (Clock::now() < deadline &&
         std::any_of(fs::directory_iterator("/proc", error), fs::directory_iterator(),
                     [](const fs::directory_entry& entry) { return RunsFromTheFolder(entry); })) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

// Looks at every test's traces on the machine, then empties it for the next one.
class LeftoverListener : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo& /*test*/) override {
    AwaitUpdaters();
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      const std::string path = entry.path();
      if (entry.is_regular_file()) {
        EXPECT_FALSE(path.ends_with('_')) << path << " was left behind";
      }
      ExpectNoLock(path);
    }
    for (const std::string& path : {ListPath(), PrefsPath(), SuppressPath()}) ExpectNoLock(path);
    for (const auto& entry : fs::directory_iterator(folder)) fs::remove_all(entry);
  }
};

}  // namespace

const std::string& TestFolder() { return folder; }

std::string InTestFolder(std::string_view name) { return folder + "/" + std::string(name); }

std::string ListPath() { return InTestFolder("var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml"); }

std::string ComponentsPath() {
  return InTestFolder("home/.local/share/Kelda/Updater6/KeldaMissingComps.xml");
}
std::string LibraryLog() { return InTestFolder("home/.local/share/Kelda/Updater6/kxlLib.log"); }

std::string PrefsPath() {
  return InTestFolder("home/.local/share/Kelda/Updater6/KeldaUpdaterPrefs.dat");
}

std::string SuppressPath() {
  return InTestFolder("home/.local/share/Kelda/Updater6/suppress_all.dat");
}

std::string AdminListPath() { return InTestFolder("etc/com.kelda.updater6.Admin.plist"); }

std::string UpdaterExecutable() {
  return InTestFolder(
      "opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS/"
      "Kelda Updater");
}

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

std::string ReadLog(const std::string& path) {
  constexpr char kStamped[] =
      "[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]T[0-9][0-9]:[0-9][0-9]:[0-9][0-9]: *";
  std::istringstream lines(ReadFile(path));
  std::string text;
  for (std::string line; std::getline(lines, line); text += line + "\n") {
    if (fnmatch(kStamped, line.c_str(), 0) == 0) line.erase(0, 21);
  }
  return text;
}

void WriteFile(const std::string& path, std::string_view text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

void WriteScript(const std::string& path, const std::string& body) {
  WriteFile(path, "#!/bin/sh\n" + body);
  fs::permissions(path, fs::perms(0755));
}

void WriteSettings(const std::string& settings) {
  WriteFile(PrefsPath(), "<KeldaUpdater>" + settings + "</KeldaUpdater>");
}

std::string ApplicationList(const std::string& entries) {
  return kDeclaration + ("<KeldaUpdaterRegistrationManager>\n" + entries) +
         "</KeldaUpdaterRegistrationManager>\n";
}

std::string ApplicationEntry(const std::string& id, const std::string& name,
                             const std::string& path) {
  return "<Application appID=\"" + id + "\">\n<DisplayName>" + name +
         "</DisplayName>\n<InstallPath>" + path + "</InstallPath>\n</Application>\n";
}

mode_t ModeOf(const std::string& path) {
  return static_cast<mode_t>(fs::status(path).permissions());
}

std::size_t Count(const std::string& text, const std::string& piece) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string::npos; ++at) ++count;
  return count;
}

Environment WithAccounts(const std::string& groups) {
  WriteFile(InTestFolder("passwd"), "kelly:x:" + std::to_string(getuid()) + ":4000::" + folder +
                                        "/home:/bin/sh\nroot:x:0:0::/:/bin/sh\n"
                                        "guest:x:2000:2000::/:/bin/sh\n"
                                        "nina:x:2001:2001::/:/bin/sh\n");
  WriteFile(InTestFolder("group"), groups);
  return {{"LD_PRELOAD", "libnss_wrapper.so"},
          {"NSS_WRAPPER_PASSWD", InTestFolder("passwd")},
          {"NSS_WRAPPER_GROUP", InTestFolder("group")}};
}

Environment WithFreeIdentity(const std::string& groups) {
  Environment environment = WithAccounts(groups);
  environment["LD_PRELOAD"] += ":libuid_wrapper.so";
  environment["UID_WRAPPER"] = "1";
  environment["UID_WRAPPER_ROOT"] = "1";
  environment["UID_WRAPPER_DISABLE_DEEPBIND"] = "1";  // sanitizers refuse it
  return environment;
}

}  // namespace kxl_test

// The wrapped account database is loaded before the sanitizers' runtimes, and unlocks mutexes that
// it did not lock. The C library guards its tree of open semaphores with a lock that the race
// detector does not know.
extern "C" const char* __asan_default_options() { return "verify_asan_link_order=0"; }
extern "C" const char* __tsan_default_options() { return "report_mutex_bugs=0:atexit_sleep_ms=0"; }
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libnss_wrapper.so\nrace:tdelete\nrace:tsearch";
}

using namespace kxl_test;

int main(int argc, char** argv) {
  int status = 0;
  if (RunsChildBody(argc, argv, status)) return status;

  testing::InitGoogleTest(&argc, argv);
  folder = fs::temp_directory_path() / "kxl-test-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return EXIT_FAILURE;
  folder = fs::canonical(folder);
  setenv("KXL_ROOT", folder.c_str(), 1);
  setenv("HOME", InTestFolder("home").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", InTestFolder("run").c_str(), 1);
  for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) unsetenv(name);
  testing::UnitTest::GetInstance()->listeners().Append(new LeftoverListener);
  status = RUN_ALL_TESTS();
  fs::remove_all(folder);
  return status;
}
