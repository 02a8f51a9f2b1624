// kxl-updater-check: whether an updater keeps what docs/updater.md asks of it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "platform/folders.h"
#include "platform/processes.h"
#include "updater_check/check.h"
#include "updater_check/report.h"
#include "updater_check/runner.h"

namespace {

using namespace conformance;

constexpr int kAllHold = 0;
constexpr int kSomeBroken = 1;
constexpr int kMisused = 2;
constexpr int kInterrupted = 128;  // and the signal's number

struct Options {
  std::string bundle;
  std::vector<std::string> only;
  std::string body;  // of the check with this name, which a run asks this program for
  bool lists = false;
  bool json = false;
};

int Fail(const std::string& text) {
  std::cerr << "kxl-updater-check: " << text << std::endl;
  return kMisused;
}

const Check* Find(const std::vector<Check>& checks, const std::string& name) {
  const auto found = std::find_if(checks.begin(), checks.end(),
                                  [&](const Check& check) { return check.name == name; });
  return found == checks.end() ? nullptr : &*found;
}

int List(const std::vector<Check>& checks) {
  for (const Check& check : checks) {
    std::cout << check.name << '\t' << check.rule << '\t' << check.promise << '\n';
  }
  return kAllHold;
}

int RunAll(const std::vector<Check>& checks, const Options& options) {
  const std::string bundle = std::filesystem::absolute(options.bundle);
  if (!std::filesystem::exists(kxl::ExecutableInBundle(bundle))) {
    return Fail("there is no " + kxl::ExecutableInBundle(bundle));
  }
  if (kxl::FindUpdaterProcess(kxl::BringToFront::kNo)) {
    return Fail("an updater of this user runs already, and would be found in place of this one");
  }
  Report report(options.json);
  Runner runner(bundle);
  report.Begin(checks.size());
  try {
    for (const Check& check : checks) {
      const std::optional<Result> result = runner.Run(check);
      if (!result) {
        report.BailOut("interrupted");
        return kInterrupted + runner.Interrupt();
      }
      report.Add(check, *result);
    }
  } catch (const std::exception& error) {
    report.BailOut(error.what());
    return kMisused;
  }
  return report.HoldsAll() ? kAllHold : kSomeBroken;
}

int Run(const Options& options) {
  std::vector<Check> checks = AllChecks();
  if (!options.body.empty()) {
    const Check* check = Find(checks, options.body);
    return check == nullptr ? kMisused : RunBody(*check);
  }
  for (const std::string& name : options.only) {
    if (Find(checks, name) == nullptr) return Fail("there is no check " + name);
  }
  if (!options.only.empty()) {
    std::erase_if(checks, [&](const Check& check) {
      return std::find(options.only.begin(), options.only.end(), check.name) == options.only.end();
    });
  }
  if (options.lists) return List(checks);
  return options.bundle.empty() ? Fail("there is no BUNDLE to check") : RunAll(checks, options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    Options options;
    CLI::App app("Checks whether an updater keeps the rules that libkxl and applications rely on.",
                 "kxl-updater-check");
    app.add_option("BUNDLE", options.bundle, "its folder, with Contents/MacOS/Kelda Updater");
    app.add_option("--only", options.only, "run this check, any number of times")
        ->type_name("NAME")
        ->allow_extra_args(false);
    app.add_flag("--list", options.lists, "tell the checks: name, rule and promise");
    app.add_flag("--json", options.json, "one JSON object a line");
    app.set_version_flag("--version", "kxl-updater-check " KXL_CHECK_VERSION);
    app.add_option(kBodyOption, options.body)->group("");
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? kAllHold : kMisused;
    }
    return Run(options);
  } catch (const std::exception& error) {
    return Fail(error.what());
  }
}
