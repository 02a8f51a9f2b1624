#include "kxl/command_line.h"

#include <sysexits.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <numeric>
#include <string_view>
#include <vector>

#include "kxl/inspection.h"
#include "kxl/locks.h"
#include "kxl/log_view.h"
#include "kxl/policy.h"

namespace tool {

namespace {

// "90", "90s", "30m" or "2h" as seconds.
std::string ReadDuration(std::string& text) {
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string unit = text.substr(digits);
  const unsigned long factor = unit.empty() || unit == "s" ? 1
                               : unit == "m"               ? 60
                               : unit == "h"               ? 3600
                                                           : 0;
  if (digits == 0 || digits > 9 || factor == 0) return "a duration is 90s, 30m or 2h";
  text = std::to_string(std::min(std::stoul(text) * factor, 0xFFFFFFFFUL));
  return {};
}

CLI::App* AddVerb(CLI::App& app, const char* group, const char* name, const char* description) {
  CLI::App* verb = app.add_subcommand(name, description);
  verb->group(group);
  verb->fallthrough();
  return verb;
}

void AddApplication(CLI::App& verb, Application& application, bool isRequired) {
  verb.add_option("ID", application.id, "its identifier")->required(isRequired);
  verb.add_option("NAME", application.name, "the name that the updater shows")
      ->required(isRequired);
  verb.add_option("FOLDER", application.folder, "where it is installed")->required(isRequired);
}

void AddRequests(CLI::App& app, CommandLine& line) {
  constexpr char kGroup[] = "Requests";
  const auto add = [&](const char* name, const char* description, auto request) {
    CLI::App* verb = AddVerb(app, kGroup, name, description);
    verb->callback([&line, request] { line.verb = request; });
    return verb;
  };
  AddApplication(*add("register", "Register an application",
                      [&line](Output& output) { return Register(output, line.application); }),
                 line.application, true);
  add("unregister", "Take an application off the list",
      [&line](Output& output) { return Unregister(output, line.application.id); })
      ->add_option("ID", line.application.id, "its identifier")
      ->required();
  add("enabled", "Whether this user may check for updates",
      [](Output& output) { return IsEnabled(output); });

  CLI::App* check = add("check", "Start the updater for a check", [&line](Output& output) {
    return Check(output, line.application, line.check);
  });
  AddApplication(*check, line.application, false);
  check->parse_complete_callback([check] {
    if (check->count("ID") > 0 && check->count("FOLDER") == 0) {
      throw CLI::ArgumentMismatch("check ID lacks its NAME and FOLDER");
    }
  });
  check->add_flag("--scheduled", line.check.isScheduled, "only when a check is due");
  check->add_flag("--refresh", line.check.refresh, "register first what has changed");
  check->add_option("--lang", line.check.language, "the updater's language, en_US");

  CLI::App* available = add("available", "Ask whether an update waits", [&line](Output& output) {
    return IsAvailable(output, line.application, line.available);
  });
  AddApplication(*available, line.application, true);
  available->add_option("--wait", line.available.waitSeconds, "wait SECONDS for the answer")
      ->type_name("SECONDS");
  available->add_option("--request", line.available.request, "the request's number");
  available->add_flag("--refresh", line.available.refresh, "register first what has changed");

  CLI::App* missing = add("missing", "List components that are missing", [&line](Output& output) {
    return ReportMissing(output, line.application, line.missing);
  });
  AddApplication(*missing, line.application, true);
  auto* components =
      missing
          ->add_option("--component", line.missing.components, "a component, any number of times")
          ->type_name("NAME CATEGORY VERSION")
          ->type_size(3)
          ->expected(0, -1);
  // The parser takes what there is; a component that lacks a text would be left out unnoticed.
  missing->parse_complete_callback([&line, components] {
    if (line.missing.components.empty()) {
      throw CLI::ArgumentMismatch("missing lacks a " + components->get_name() +
                                  " NAME CATEGORY VERSION");
    }
    if (line.missing.components.size() % 3 != 0) {
      throw CLI::ArgumentMismatch(components->get_name() + " takes three texts each time");
    }
  });
  missing->add_option("--type", line.missing.type, "recorded for the updater");
  missing->add_option("--lang", line.missing.language, "the updater's language, en_US");
  missing->add_flag("--refresh", line.missing.refresh, "register first what has changed");

  add("action", "Run the updater's plug-in action",
      [&line](Output& output) { return Act(output, line.application.id); })
      ->add_option("ID", line.application.id, "the application")
      ->required();

  CLI::App* suppress =
      add("suppress", "Hold update notices back, or ask about holds", [&line](Output& output) {
        if (line.queriesLongest) return QueryHold(output, {});
        return line.queriesHold ? QueryHold(output, line.application.id)
                                : Hold(output, line.application.id, line.holdSeconds);
      });
  auto* id = suppress->add_option("ID", line.application.id, "the application");
  auto* action = suppress->add_option_group("action");
  action->require_option(1);
  action->add_option("--for", line.holdSeconds, "hold for 90s, 30m, 2h; at most 12h")
      ->type_name("DURATION")
      ->transform(CLI::Validator(ReadDuration, ""))
      ->needs(id);
  action->add_flag("--clear", line.clearsHold, "end the hold")->needs(id);
  action->add_flag("--query", line.queriesHold, "what is left of it")->needs(id);
  action->add_flag("--longest", line.queriesLongest, "whose hold is the longest")->excludes(id);

  add("version", "The library's version and the tool's",
      [](Output& output) { return ShowVersion(output); });
}

void AddInspection(CLI::App& app, CommandLine& line) {
  const auto add = [&](const char* name, const char* description, void (*show)(Output&)) {
    AddVerb(app, "Inspection, which changes nothing", name, description)->callback([&line, show] {
      line.verb = [show](Output& output) {
        show(output);
        return output.ExitStatus();
      };
    });
  };
  add("status", "Where everything lies, and how it is", ShowStatus);
  add("list", "The registered applications", ShowApplications);
  add("components", "The components that are missing", ShowComponents);
  add("holds", "The holds on update notices", ShowHolds);
  add("prefs", "The updater's preferences", ShowPreferences);
  add("policy", "Whether this user may check for updates, and why", ShowPolicy);
  add("locks", "The locks, and who holds them", ShowLocks);
  CLI::App* log = AddVerb(app, "Inspection, which changes nothing", "log",
                          "The trace of the library and the updater");
  log->add_flag("--follow", line.follows, "go on with what is written later");
  log->callback([&line] {
    line.verb = [&line](Output& output) {
      ShowLog(output, line.follows ? Follow::kYes : Follow::kNo);
      return output.ExitStatus();
    };
  });
}

// Anything could be locked; what is named by mistake would count as unlocked.
bool IsLock(const std::string& path) {
  constexpr std::string_view kRequest = "request:";
  if (path.starts_with(kRequest)) return path.size() > kRequest.size();
  const std::string name = std::filesystem::absolute(path);
  const std::vector<Lock> locks = AllLocks();
  return std::any_of(locks.begin(), locks.end(),
                     [&](const Lock& lock) { return lock.name == name; }) ||
         LookAtLock(name).state != LockState::kFree;
}

void AddMending(CLI::App& app, CommandLine& line) {
  CLI::App* doctor = AddVerb(app, "Mending", "doctor", "Find what is wrong; 1 when something is");
  auto* dryRun = doctor->add_flag("--dry-run", line.doctor.dryRun, "tell what --fix would do");
  auto* fix = doctor->add_flag("--fix", line.doctor.fix, "mend it")->excludes(dryRun);
  doctor
      ->add_flag("--restore", line.doctor.restore,
                 "put back what can be read of lists that were set aside")
      ->needs(fix);
  doctor->callback([&line] {
    line.verb = [&line](Output& output) {
      RunDoctor(output, line.doctor);
      return output.ExitStatus();
    };
  });
  CLI::App* unlock = AddVerb(app, "Mending", "unlock", "Remove a lock whose holder was killed");
  unlock->add_option("PATH", line.path, "the locked file, or request:ID")->required();
  unlock->add_flag("--force", line.forces, "even while somebody holds it");
  unlock->callback([&line] {
    line.verb = [&line](Output& output) {
      if (IsLock(line.path)) {
        Unlock(output, line.path, line.forces);
      } else {
        output.Error(line.path + " is no lock that kxl locks lists, and nobody has locked it");
      }
      return output.ExitStatus();
    };
  });
}

// How many letters have to be added, left out or replaced to make one word of the other.
std::size_t Distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), 0U);
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = row[0]++;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t replaced = diagonal + (one[i] == other[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string NearestVerb(const CLI::App& app, std::string_view word) {
  const auto verbs = app.get_subcommands([](const CLI::App*) { return true; });
  const auto nearest = std::min_element(
      verbs.begin(), verbs.end(), [word](const CLI::App* one, const CLI::App* other) {
        return Distance(word, one->get_name()) < Distance(word, other->get_name());
      });
  return (*nearest)->get_name();
}

std::string Message(const CLI::App& app, const CLI::ParseError& error,
                    const std::vector<std::string_view>& arguments) {
  const auto word = std::find_if(arguments.begin(), arguments.end(), [](std::string_view argument) {
    return !argument.starts_with('-');
  });
  if (!app.get_subcommands().empty() || word == arguments.end()) return error.what();
  // The verbs themselves are found; a word of any length is not worth a search.
  constexpr std::size_t kLongest = 64;
  return "there is no verb " + std::string(*word) + "; the nearest is " +
         NearestVerb(app, word->substr(0, kLongest));
}

}  // namespace

std::optional<int> ReadCommandLine(int argc, const char* const* argv, CommandLine& line,
                                   std::ostream& out, std::ostream& err) {
  CLI::App app("Register applications with the updater, and look after the files they share.",
               "kxl");
  app.add_flag("--json", line.json, "one JSON object a line");
  app.set_version_flag("--version", "kxl " KXL_TOOL_VERSION);
  app.require_subcommand(1);
  AddRequests(app, line);
  AddInspection(app, line);
  AddMending(app, line);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error, out, err);
    const std::vector<std::string_view> arguments(argv + 1, argv + argc);
    const bool json = std::count(arguments.begin(), arguments.end(), "--json") > 0;
    err << ErrorLine(Message(app, error, arguments), json);
    if (!json) err << "Run with --help for more information.\n";
    return EX_USAGE;
  }
  return std::nullopt;
}

}  // namespace tool
