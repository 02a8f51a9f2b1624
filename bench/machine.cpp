#include "bench/machine.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace bench {

namespace fs = std::filesystem;

namespace {

std::string root;

std::string DataPath(const std::string& name) {
  return Path("home/.local/share/Kelda/Updater6/" + name);
}

}  // namespace

void MakeMachine() {
  root = fs::temp_directory_path() / "kxl-bench-XXXXXX";
  Check(mkdtemp(root.data()) != nullptr, "no temporary folder");
  std::atexit(RemoveMachine);
  setenv("KXL_ROOT", root.c_str(), 1);
  setenv("HOME", Path("home").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", Path("run").c_str(), 1);
  unsetenv("XDG_DATA_HOME");
  SetLogLevel(0);
  fs::create_directories(Path("run"));
  fs::create_directories(Path("opt"));
}

void RemoveMachine() {
  std::error_code error;
  fs::remove_all(root, error);
}

std::string Path(const std::string& belowRoot) { return root + "/" + belowRoot; }

std::string ListPath() { return Path("var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml"); }

std::string SuppressPath() { return DataPath("suppress_all.dat"); }

std::string TracePath() { return DataPath("kxlLib.log"); }

void SetLogLevel(int level) {
  WriteFile(DataPath("KeldaUpdaterPrefs.dat"),
            "<KeldaUpdater><logLevel>" + std::to_string(level) + "</logLevel></KeldaUpdater>");
}

Application ApplicationOf(std::size_t number) {
  const std::string digits = std::to_string(number);
  return {"com.example.application" + digits, "Example Application",
          "/opt/example/application" + digits};
}

std::string ListText(std::size_t applications) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n<KeldaUpdaterRegistrationManager>\n";
  for (std::size_t i = 0; i < applications; ++i) {
    const auto [id, name, folder] = ApplicationOf(i);
    text += "<Application appID=\"" + id + "\">\n<DisplayName>" + name +
            "</DisplayName>\n<InstallPath>" + folder + "</InstallPath>\n</Application>\n";
  }
  return text + "</KeldaUpdaterRegistrationManager>\n";
}

void WriteFile(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "benchmarks: %s\n", what);
  std::exit(EXIT_FAILURE);
}

}  // namespace bench
