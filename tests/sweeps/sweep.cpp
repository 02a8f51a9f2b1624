// Runs every writing operation of a host application under strace, once for each of its system
// calls on files: killed at that call, and with that call failing, once or from then on; and with
// each of its allocations failing, once or from then on. Looks then
// at what is on the disk, with the tool as a second process, and makes the call again.
//   sweep [--sample K]     every Kth of them only
// Needs beside it: the host (sweep_host) and the tool (kxl). Exits with 77 where strace cannot
// trace.
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <thread>

#include "sweeps/judge.h"

namespace {

using namespace sweep;

constexpr int kSkipped = 77;

// What one operation went through.
struct Outcome {
  int kills = 0;
  int faults = 0;
  int allocations = 0;
  int failures = 0;
};

struct Job {
  const Plan* plan;
  Outcome* outcome;
  Injection injection;
};

std::vector<Job> MakeJobs(const std::vector<Plan>& plans, std::vector<Outcome>& outcomes,
                          std::size_t sample) {
  std::vector<Job> jobs;
  for (std::size_t i = 0; i < plans.size(); ++i) {
    for (std::size_t call = i % sample; call < plans[i].calls.size(); call += sample) {
      Injection injection = plans[i].calls[call];
      std::vector<std::string> errors = {"ENOSPC", "EIO", "EACCES", "EMFILE", "EINTR"};
      if (injection.IsAllocation()) {
        errors = {"ENOMEM"};
      } else {
        jobs.push_back({&plans[i], &outcomes[i], injection});
      }
      for (const std::string& error : errors) {
        for (const bool forEver : {false, true}) {
          injection.error = error;
          injection.forEver = forEver;
          jobs.push_back({&plans[i], &outcomes[i], injection});
        }
      }
    }
  }
  return jobs;
}

int& Counter(Outcome& outcome, const Injection& injection) {
  if (injection.IsAllocation()) return outcome.allocations;
  return injection.IsKill() ? outcome.kills : outcome.faults;
}

void Work(const Machine& machine, const std::vector<Job>& jobs, std::atomic<std::size_t>& next) {
  static std::mutex reporting;
  static std::mutex askers;  // one at a time, for the name of their lock
  for (std::size_t i = next++; i < jobs.size(); i = next++) {
    const Job& job = jobs[i];
    std::unique_lock<std::mutex> asking(askers, std::defer_lock);
    if (job.plan->operation.before.count(kAnswerFile) > 0) asking.lock();
    const Verdict verdict = Try(machine, *job.plan, job.injection);
    if (asking.owns_lock()) asking.unlock();
    const std::lock_guard<std::mutex> guard(reporting);
    if (verdict.isReached) ++Counter(*job.outcome, job.injection);
    if (verdict.blame.empty()) continue;
    ++job.outcome->failures;
    std::cout << job.plan->operation.name << ", " << job.injection.Text() << ": " << verdict.blame
              << std::endl;
  }
}

void PrintRow(const std::string& name, const Outcome& outcome) {
  std::printf("%-16s %8d %8d %11d %8d\n", name.c_str(), outcome.kills, outcome.faults,
              outcome.allocations, outcome.failures);
}

int Sweep(const fs::path& folder, std::size_t sample) {
  std::vector<Machine> machines;
  for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
    machines.emplace_back(folder / ("machine" + std::to_string(i)));
  }
  if (machines[0].Run({"strace", "-o", folder / "trace", "true"}, false) != 0) {
    std::puts("strace cannot trace here");
    return kSkipped;
  }
  std::vector<Plan> plans;
  for (Operation& operation : Operations()) {
    plans.push_back(MakePlan(machines[0], std::move(operation)));
    if (plans.back().calls.empty()) {
      std::cout << plans.back().operation.name << " fails though nothing happens to it\n";
      return 1;
    }
  }
  std::vector<Outcome> outcomes(plans.size());
  const std::vector<Job> jobs = MakeJobs(plans, outcomes, sample);
  std::atomic<std::size_t> next = 0;
  std::vector<std::thread> workers;
  for (const Machine& machine : machines) {
    workers.emplace_back([&] { Work(machine, jobs, next); });
  }
  for (std::thread& worker : workers) worker.join();

  Outcome total;
  std::printf("%-16s %8s %8s %11s %8s\n", "operation", "kills", "faults", "allocations",
              "failures");
  for (std::size_t i = 0; i < plans.size(); ++i) {
    PrintRow(plans[i].operation.name, outcomes[i]);
    total.kills += outcomes[i].kills;
    total.faults += outcomes[i].faults;
    total.allocations += outcomes[i].allocations;
    total.failures += outcomes[i].failures;
  }
  PrintRow("all", total);
  return total.failures == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t sample = 1;
  if (argc == 3 && std::string(argv[1]) == "--sample") sample = std::strtoul(argv[2], nullptr, 10);
  if (sample == 0 || (argc != 1 && argc != 3)) {
    std::puts("usage: sweep [--sample K]");
    return 64;
  }
  umask(022);
  std::string folder = fs::temp_directory_path() / "kxl-sweep-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) return 1;
  const int status = Sweep(folder, sample);
  fs::remove_all(folder);
  return status;
}
