// The tool as somebody uses it: its exit status and what it prints.
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <fstream>

#include "esd/resource_locker.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;

struct Result {
  int status;
  std::string text;  // both streams
  bool operator==(const Result&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Result& result) {
  return stream << result.status << ": " << result.text;
}

std::string Command(const std::string& arguments) {
  std::string command = "env";
  for (const auto& [name, value] : WithAccounts()) command += " " + name + "=" + value;
  // The tool inherits the account wrapper, too.
  return command +
         " ASAN_OPTIONS=verify_asan_link_order=0 "
         "TSAN_OPTIONS=report_mutex_bugs=0:atexit_sleep_ms=0 '" TOOL "' " +
         arguments + " 2>&1";
}

Result RunCommand(const std::string& command) {
  FILE* pipe = popen(command.c_str(), "re");
  Result result = {-1, {}};
  for (int byte; (byte = getc(pipe)) != EOF;) result.text += static_cast<char>(byte);
  result.status = WEXITSTATUS(pclose(pipe));
  return result;
}

Result Kxl(const std::string& arguments) { return RunCommand(Command(arguments)); }

bool Has(const Result& result, const std::string& piece) {
  return result.text.find(piece) != std::string::npos;
}

TEST(Tool, Requests) {
  WriteScript(UpdaterExecutable(), "exit 0\n");
  const std::tuple<std::string, int, std::string> cases[] = {
      {"enabled", 0, "enabled\n"},
      {"--json enabled", 0, "{\"enabled\":true}\n"},
      {"register a A /a", 0, "0 ESD_ERR_OK\n"},
      {"register a A /a --json", 5, "{\"code\":5,\"name\":\"ESD_ERR_ALREADYREGISTERED\"}\n"},
      {"check", 0, "0 ESD_ERR_OK\n"},
      {"check --scheduled --json a A ''", 3, "{\"code\":3,\"name\":\"ESD_ERR_INVALIDDATA\"}\n"},
      {"available a A /a", 8, "8 ESD_ERR_NOTIFY_PENDING\n"},
      {"--json available --wait 1 a A /a", 8, "{\"code\":8,\"name\":\"ESD_ERR_NOTIFY_PENDING\"}\n"},
      {"missing a A /a --component n c 1 --component m c 1", 0, "0 ESD_ERR_OK\n"},
      {"missing a A /a --component n c 1.0 --json", 9,
       "{\"code\":9,\"name\":\"KXL_ALL_LISTED\"}\n"},
      {"action b", 6, "6 ESD_ERR_NOTREGISTERED\n"},
      {"action a --json", 0, "{\"code\":0,\"name\":\"ESD_ERR_OK\"}\n"},
      {"suppress a --for 30m", 0, "0 ESD_ERR_OK: 1800 seconds\n"},
      {"suppress a --for 24h --json", 0,
       "{\"code\":0,\"name\":\"ESD_ERR_OK\",\"seconds\":43200,\"lowered_from\":86400}\n"},
      {"suppress b --query --json", 0,
       "{\"code\":0,\"name\":\"ESD_ERR_OK\",\"id\":\"b\",\"seconds\":0}\n"},
      {"check --scheduled a A /a", 13, "13 KXL_CHECK_SUPPRESSED\n"},
      {"suppress a --clear", 0, "0 ESD_ERR_OK: 0 seconds\n"},
      {"suppress --longest", 0, "0 ESD_ERR_OK: no hold\n"},
      {"unregister a", 0, "0 ESD_ERR_OK\n"},
      {"unregister a --json", 4,
       "{\"code\":4,\"name\":\"ESD_ERR_REGISTRATIONFAILED\",\"why\":[\"" + ListPath() +
           ": there is no list, so nothing is registered\"]}\n"},
      {"unlock /none", 1, "kxl: /none is no lock that kxl locks lists, and nobody has locked it\n"},
      {"regster --json", 64, "{\"error\":\"there is no verb regster; the nearest is register\"}\n"},
      {"--version", 0, "kxl 6.2.0\n"},
      {"version", 0, "library 6.2.0, tool 6.2.0\n"},
      {"version --json", 0, "{\"library\":\"6.2.0\",\"tool\":\"6.2.0\"}\n"}};
  for (const auto& [arguments, status, text] : cases) {
    EXPECT_EQ(Kxl(arguments), (Result{status, text})) << arguments;
  }
  WriteFile(InTestFolder("home/.local/share/Kelda/Updater6/Data/UpdateAvailable/a/1.xml"), "<");
  EXPECT_EQ(Kxl("available a A /a --json").text,
            "{\"code\":0,\"name\":\"ESD_ERR_OK\",\"answer\":null}\n");
  WriteFile(ListPath() + "/f", "");
  EXPECT_TRUE(Has(Kxl("register a A /a"), "FAILED: " + ListPath() + ": ")) << "why it has failed";
  for (const char* wrong :
       {"", "nonsense", "check a", "missing a A /a", "suppress a --for 1d", "suppress a", "unlock",
        "doctor --restore", "missing a A /a --component n c",
        "missing a A /a --component n c 1 --component m"}) {
    EXPECT_EQ(Kxl(wrong).status, 64) << wrong;
  }
}

TEST(Tool, InspectionTellsAndChangesNothing) {
  for (const char* verb :
       {"status", "list", "components", "holds", "prefs", "policy", "locks", "log", "doctor"}) {
    EXPECT_EQ(Kxl(verb).status, verb == std::string("doctor") ? 1 : 0) << verb;
  }
  EXPECT_FALSE(fs::exists(InTestFolder("home"))) << "looking has made something";
  const std::string data = InTestFolder("home/.local/share/Kelda/Updater6/");
  EXPECT_EQ(Kxl("register a A " + TestFolder()).status, 0);
  EXPECT_EQ(Kxl("register b B /gone").status, 0);
  EXPECT_EQ(Kxl("missing a A /a --component n c 1 --type 4").status, 2) << "no updater";
  EXPECT_EQ(Kxl("suppress a --for 100").status, 0);
  WriteSettings("<AutoCheck>yes</AutoCheck><LastDateCheck>2026-01-02</LastDateCheck>");
  WriteFile(data + "kxl.log", "1999-01-02T03:04:05: first\nof two\n2999-01-02T03:04:05: last\n");
  const std::tuple<std::string, std::string, std::string> cases[] = {
      {"status", "registered applications  0664",
       "{\"what\":\"administrator\",\"value\":true,\"rule\":\"a member"},
      {"list", "b  B  /gone (gone)\n",
       "{\"id\":\"b\",\"name\":\"B\",\"folder\":\"/gone\",\"folder_exists\":false}\n"},
      {"components", "a  n  c  1.0.0.0\n",
       "{\"id\":\"a\",\"name\":\"n\",\"category\":\"c\",\"version\":\"1.0.0.0\",\"operation_type\":"
       "4}\n"},
      {"holds", " seconds left\n", "{\"id\":\"a\",\"seconds\":"},
      {"prefs", "AutoCheck            not valid  yes\n",
       "{\"key\":\"LastDateCheck\",\"value\":\"2026-01-02\",\"state\":\"set\"}\n"},
      {"policy",
       "interval                allows      weekly, last check on 2026-01-02: due now, from " +
           PrefsPath(),
       "{\"rule\":\"holds\",\"allows\":false,\"reason\":\"a hold is running\",\"source\":\"" +
           SuppressPath()},
      {"policy", "a scheduled check       answers 13  a hold is running\n",
       "{\"call\":\"KXLIsUpdateCheckEnabled\",\"answers\":1,"},
      {"locks", "KeldaUpdaterPrefs.dat  free\n",
       "{\"lock\":\"" + ListPath() + "\",\"state\":\"free\",\"holders\":[],"},
      {"log", "1999-01-02T03:04:05 updater: first\nof two\n",
       "{\"time\":\"2999-01-02T03:04:05\",\"source\":\"updater\",\"text\":\"last\"}\n"},
      {"doctor", "gone-application: b\n",
       "{\"finding\":\"gone-application\",\"severity\":\"wrong\",\"path\":\"b\","}};
  for (const auto& [verb, text, json] : cases) {
    const Result forPeople = Kxl(verb);
    const Result forPrograms = Kxl(verb + " --json");
    EXPECT_TRUE(Has(forPeople, text)) << forPeople.text;
    EXPECT_TRUE(Has(forPrograms, json)) << forPrograms.text;
  }
  const Result log = Kxl("log");
  EXPECT_TRUE(log.text.starts_with("1999") && log.text.ends_with("last\n")) << log.text;
  WriteFile(ListPath(), "<damaged");
  EXPECT_EQ(Kxl("list --json"),
            (Result{1, "{\"error\":\"" + ListPath() + " is damaged; see kxl doctor\"}\n"}));
  EXPECT_EQ(ReadFile(ListPath()), "<damaged");
}

int HoldAList(const Link& parent, const Arguments& arguments) {
  esd::ResourceLocker lock(arguments[0], 0);
  if (!lock.Lock()) return 1;
  parent.Tell();
  parent.Await();
  return 0;
}

TEST(Tool, ALockIsItsHoldersWhileHeLives) {
  WriteFile(ListPath(), "<damaged");
  ChildProcess holder(HoldAList, {ListPath()});
  ASSERT_TRUE(holder.Await());
  const std::string who = "(" + std::to_string(holder.Id()) + ")";
  EXPECT_TRUE(Has(Kxl("locks"), who)) << Kxl("locks");
  EXPECT_TRUE(Has(Kxl("locks --json"),
                  "\"state\":\"held\",\"holders\":[{\"pid\":" + std::to_string(holder.Id())));
  Kxl("doctor --fix");
  EXPECT_EQ(ReadFile(ListPath()), "<damaged") << "it may be halfway through it";
  const Result refused = Kxl("unlock " + ListPath());
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(Has(refused, who));
  EXPECT_TRUE(fs::exists(esd::SemaphorePath(ListPath())));
  EXPECT_TRUE(Has(Kxl("register a A /"), "FAILED: " + ListPath() + ": held by"));
  kill(holder.Id(), SIGKILL);
  holder.Exit();
  EXPECT_TRUE(Has(Kxl("locks"), "stale: its holder was killed\n"));
  EXPECT_EQ(Kxl("unlock " + ListPath() + " --json"),
            (Result{0, "{\"lock\":\"" + ListPath() + "\",\"unlocked\":true}\n"}));
  EXPECT_EQ(Kxl("unlock request:a"), (Result{0, "request:a  was not locked\n"}));
}

TEST(Tool, WritesOutWhatATerminalWouldActUpon) {
  WriteFile(ListPath(), ApplicationList(ApplicationEntry("a", "\u009B[31m\u202E", "/") +
                                        ApplicationEntry("b", "\u00FC\u6F22", "/") +
                                        ApplicationEntry("c", std::string(70, 'w'), "/")));
  const std::string list = Kxl("list").text;
  EXPECT_TRUE(list.starts_with("a  \\x9b[31m\\u202e  ")) << list;
  EXPECT_EQ(Count(list, "\nb  \u00FC\u6F22" + std::string(69, ' ') + "/\n"), 1U) << list;
  EXPECT_EQ(Count(Kxl("list --json").text, "\"\\u009b[31m\\u202e\""), 1U);
  const Result terminal = RunCommand("script -qc \"" + Command("list") + "\" /dev/null");
  EXPECT_TRUE(Has(terminal, "c  " + std::string(59, 'w') + "\u2026  /\r\n")) << terminal;
  EXPECT_EQ(RunCommand("(" + Command("list --json") + " >/dev/full) 2>&1"),
            (Result{1, "{\"error\":\"the standard output cannot be written\"}\n"}));
}

TEST(Tool, FollowsTheLogs) {
  const std::string path = InTestFolder("home/.local/share/Kelda/Updater6/kxlLib.log");
  WriteFile(path, "2020-01-02T03:04:05: one\n");
  FILE* pipe = popen(("exec " + Command("log --follow")).c_str(), "re");
  char line[100];
  EXPECT_STREQ(fgets(line, sizeof line, pipe), "2020-01-02T03:04:05 library: one\n");
  std::ofstream(path, std::ios::app) << "2020-01-02T03:04:06: two\n";
  EXPECT_STREQ(fgets(line, sizeof line, pipe), "2020-01-02T03:04:06 library: two\n");
  fs::remove(path);  // cut to its end by another process
  WriteFile(path, "2020-01-02T03:04:06: two\n2020-01-02T03:04:07: three\n");
  EXPECT_STREQ(fgets(line, sizeof line, pipe), "2020-01-02T03:04:07 library: three\n");
  Kxl("version");
  EXPECT_TRUE(std::string(fgets(line, sizeof line, pipe))
                  .ends_with("library: >>> Kelda Updater Log Begin >>>\n"));
  EXPECT_EQ(system("pkill -f -x \"'" TOOL "' log --follow|" TOOL " log --follow\""), 0);
  pclose(pipe);
}

// The words of letters and dashes that stand behind each of the marks.
std::vector<std::string> WordsAfter(const std::string& mark, const std::string& text) {
  std::vector<std::string> words;
  for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos;) {
    at += mark.size();
    const std::size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
    words.push_back(text.substr(at, end - at));
  }
  return words;
}

TEST(Tool, CompletionKnowsEveryVerbAndOption) {
  std::vector<std::string> verbs = WordsAfter("\n  ", Kxl("--help").text);
  std::erase_if(verbs, [](const std::string& verb) { return verb.empty() || verb[0] == '-'; });
  ASSERT_EQ(verbs.size(), 19U);
  for (const char* file : {"kxl.bash", "_kxl", "kxl.fish"}) {
    const std::string completion = ReadFile(std::string(COMPLETION "/") + file);
    for (const std::string& verb : verbs) {
      EXPECT_NE(completion.find(verb), std::string::npos) << file << " " << verb;
      for (const std::string& option : WordsAfter("--", Kxl(verb + " --help").text)) {
        EXPECT_NE(completion.find(option), std::string::npos)
            << file << " " << verb << " " << option;
      }
    }
  }
}

}  // namespace
