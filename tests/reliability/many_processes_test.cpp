// Many processes on one machine, some of which are killed.
#include <kxl/kxl.h>
#include <poll.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "esd/resource_locker.h"
#include "esd/xml_parser.h"
#include "support/host.h"

namespace {

using namespace kxl_test;
using Clock = std::chrono::steady_clock;

int FromEnvironment(const char* name, int otherwise) {
  const char* value = getenv(name);
  return value == nullptr ? otherwise : atoi(value);
}

// Sends "<code> <milliseconds> <identifier>" of each request, and keeps what it has registered.
int Worker(const Link& parent, const Arguments& arguments) {
  const std::string name = arguments[0];
  const int requests = std::stoi(arguments[1]);
  for (int i = 0; i < requests || requests == 0; ++i) {
    const std::string id = name + "." + std::to_string(i);
    const Call calls[] = {{"RegisterApplication", id, "A", "/a"},
                          {"DownloadMissingComponents", id, "A", "/a", "", "o", "c", "1"},
                          {"SuppressUpdates", id, "600"},
                          {"TriggerUpdateCheck", id, "A", "/a", "", "0"}};
    const Call& call = calls[requests == 0 ? 0 : i % 4];
    const auto start = Clock::now();
    const int code = MakeCall(call);
    const auto time =
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
    parent.Write(std::to_string(code) + " " + std::to_string(time) + " " + *call[0] + " " + id +
                 "\n");
  }
  return 0;
}

int PollingReader(const Link& parent, const Arguments& arguments) {
  for (;;) {
    for (const std::string& path : arguments) {
      esd::ExpatDOMBuilder builder;
      if (!builder.Init() || !builder.ParseFile(path, true)) return 1;
    }
    pollfd stop = {parent.ReadEnd(), POLLIN, 0};
    if (poll(&stop, 1, 0) != 0) return 0;
  }
}

struct Figures {
  std::map<std::string, int> counts;  // by function and code
  std::set<std::string> registered;   // identifiers that were answered 0
  int longest = 0;                    // milliseconds

  void Add(const std::string& lines) {
    std::istringstream stream(lines);
    std::string code;
    std::string function;
    std::string id;
    for (int time; stream >> code >> time >> function >> id;) {
      ++counts[function + " " + code];
      longest = std::max(longest, time);
      if (function == "RegisterApplication" && code == "0") registered.insert(id);
    }
  }

  void Print() const {
    for (const auto& [what, count] : counts) std::printf("%6d  %s\n", count, what.c_str());
    std::printf("%6d  ms the longest call\n%6zu  registered\n", longest, registered.size());
  }
};

void ExpectAllRegistered(const Figures& figures) {
  const std::string list = ReadFile(ListPath());
  for (const std::string& id : figures.registered) {
    EXPECT_NE(list.find("appID=\"" + id + "\""), std::string::npos) << id << " is lost";
  }
}

TEST(ManyProcesses, LoseNothingAndNeverShowAHalfWrittenFile) {
  const int requests = FromEnvironment("KXL_TEST_REQUESTS", 24);
  fs::create_directories(InTestFolder("updater"));
  fs::create_directories(fs::path(UpdaterExecutable()).parent_path());
  fs::create_symlink(UPDATER, UpdaterExecutable());
  WriteSettings("<Foreign>f</Foreign>");
  Environment environment = WithAccounts();
  environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
  environment["TSAN_OPTIONS"] = "report_mutex_bugs=0:atexit_sleep_ms=0";
  ChildProcess reader(PollingReader, {ListPath(), ComponentsPath()});
  Figures figures;
  {
    std::vector<std::unique_ptr<ChildProcess>> workers;
    for (int i = 0; i < 8; ++i) {
      workers.push_back(std::make_unique<ChildProcess>(
          Worker, Arguments{"w" + std::to_string(i), std::to_string(requests)}, environment));
    }
    for (const auto& worker : workers) figures.Add(worker->ReadAll());
    for (const auto& worker : workers) EXPECT_EQ(worker->Exit(), 0);
  }
  reader.Tell();
  EXPECT_EQ(reader.Exit(), 0) << "a reader found a file that does not parse";
  figures.Print();
  EXPECT_EQ(figures.registered.size(), static_cast<std::size_t>(8 * requests / 4));
  ExpectAllRegistered(figures);
  for (const char* done :
       {"SuppressUpdates 0", "TriggerUpdateCheck 0", "DownloadMissingComponents 0"}) {
    EXPECT_EQ(figures.counts[done], 8 * requests / 4) << done;
  }
  // All write that file in place; whoever reads it in between must not take the half for the whole.
  esd::ResourceLocker updatersAtWork(PrefsPath(), 20000);
  ASSERT_TRUE(updatersAtWork.Lock());
  EXPECT_EQ(Count(ReadFile(PrefsPath()), "<Foreign>f</Foreign>"), 1U);
}

TEST(ManyProcesses, AKilledOneTakesNothingAlong) {
  const int kills = FromEnvironment("KXL_TEST_KILLS", 15);
  std::mt19937 random(20080317);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same at every run
  std::vector<std::unique_ptr<ChildProcess>> workers;
  Figures figures;
  int started = 0;
  const Environment environment = WithAccounts();
  const auto start = [&] {
    return std::make_unique<ChildProcess>(Worker, Arguments{"k" + std::to_string(started++), "0"},
                                          environment);
  };
  for (int i = 0; i < 4; ++i) workers.push_back(start());
  const std::string mend =
      "env ASAN_OPTIONS=verify_asan_link_order=0 '" TOOL "' doctor --fix >/dev/null 2>&1";
  for (int i = 0; i < kills; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    auto& worker = workers[random() % workers.size()];
    kill(worker->Id(), SIGKILL);
    figures.Add(worker->ReadAll());
    worker = start();
    system(mend.c_str());
  }
  for (const auto& worker : workers) {
    kill(worker->Id(), SIGKILL);
    figures.Add(worker->ReadAll());
    worker->Exit();
  }
  system(mend.c_str());
  figures.Print();
  EXPECT_GT(figures.registered.size(), static_cast<std::size_t>(kills));
  ExpectAllRegistered(figures);
  EXPECT_EQ(CallsInHost({{"RegisterApplication", "last", "A", "/a"}}), std::vector{0});
}

}  // namespace
