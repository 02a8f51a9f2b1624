// What is broken on a machine, what fails for it, and what kxl doctor says and does about it.
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "esd/resource_locker.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;

// Who makes the call on which machine: root or an ordinary user as the case may be, only one of
// them, or a member of the administrators' group, for whom root mends or who (kMembers) mends too.
enum As { kAnybody, kRoot, kUser, kMember, kMembers };

struct Damage {
  const char* doing;    // what breaks it, for the shell
  const char* call;     // for the shell
  int before;           // the call's exit status
  const char* finding;  // its name
  int after;            // ... the call's after --fix
  As as = kAnybody;
  const char* said = "fixed: ";
};

constexpr char kRegister[] = "kxl register a A /";
constexpr char kUnregister[] = "kxl unregister good";
constexpr char kMissing[] = "kxl missing a A / --component n c 1";
constexpr char kHold[] = "kxl suppress a --for 60";
constexpr char kAsk[] = "kxl available a A /";
constexpr char kActs[] =
    "kxl action good; timeout 0.3 sh -c \"until [ -e $T/launched ]; do :; done\"";
constexpr char kTraces[] = "kxl version && test -f $D/kxlLib.log -a -s $D/kxlLib.log";

// $K is the lock on the list, $Q that of a query.
constexpr char kPrelude[] = R"(exec 2>&1
T=$KXL_ROOT S=$T/var/lib/Kelda/Updater6 L=$S/KeldaESDGlobalApps.xml R=$XDG_RUNTIME_DIR
D=$HOME/.local/share/Kelda/Updater6 C=$D/KeldaMissingComps.xml P=$D/KeldaUpdaterPrefs.dat
H=$D/suppress_all.dat A=$T/etc/com.kelda.updater6.Admin.plist
U="$T/opt/Kelda Utilities.localized/Kelda Updater6/Kelda Updater.app/Contents/MacOS/Kelda Updater"
kxl() {
  env ASAN_OPTIONS=verify_asan_link_order=0 \
    TSAN_OPTIONS=report_mutex_bugs=0:atexit_sleep_ms=0 LD_PRELOAD=libnss_wrapper.so \
    NSS_WRAPPER_PASSWD=$T/passwd NSS_WRAPPER_GROUP=$T/group $AS ')" TOOL R"(' "$@"
}
set_prefs() { echo "<KeldaUpdater>${1:+<$1>$2</$1>}</KeldaUpdater>" >$P; }
set_switch() { echo "<plist><dict><key>Disable.Update</key>$1</dict></plist>" >$A; }
)";

constexpr Damage kDamages[] = {
    {"rm -r $T/var/lib/Kelda", kRegister, 0, "missing-folder", 0},
    {"chown 0:0 $S; chmod 0775 $S", kRegister, 4, "wrong-group", 0, kMember,
     "fixed: make it kelly:admin 2775"},
    {"chmod 2755 $S", kRegister, 4, "wrong-mode", 0, kMember},
    {"chown 3000:5000 $S; chmod 2755 $S", kRegister, 4, "wrong-owner", 0, kMember,
     "fixed: make it kelly:admin 2775"},
    {"chmod 0555 $S", kRegister, 4, "wrong-mode", 0, kUser},
    {"chmod 2777 $S", kRegister, 0, "too-open", 0},
    {"chmod 0700 $T/var/lib", kRegister, 1, "not-writable", 1, kMembers, "of those above it"},
    {"rm -r $S; : >$S", kRegister, 4, "not-a-folder", 0},
    {"rm -r ${S%/*}; : >${S%/*}", kRegister, 1, "not-a-folder", 0},
    {"for g in $(id -G); do echo g$g:x:$g:; done >$T/group", kRegister, 4, "no-admin-group", 4,
     kAnybody, "groupadd --system admin"},
    {"mount --bind $S $S; mount -o remount,ro,bind $S", kRegister, 4, "read-only", 4, kRoot,
     "Read-only file system"},
    {"mount -t tmpfs -o size=16k,mode=2775,gid=5000 t $S; yes >$S/x", kRegister, 4, "disk-full", 4,
     kRoot, "No space left on device"},
    {"chmod 0666 $L", kRegister, 0, "too-open", 0},
    {"chown 0:0 $L; chmod 600 $L", kRegister, 4, "wrong-group", 0, kMember,
     "fixed: make it kelly:admin 0664"},
    {"chown 0:0 $L; chmod 600 $L", kRegister, 4, "wrong-group", 4, kMembers, "could not make it"},
    {"chmod 0 $L", kRegister, 4, "wrong-mode", 0, kUser},
    {"chown 3000:0 $L; chmod 644 $L", kRegister, 0, "wrong-group", 0, kMembers},
    {"printf '<damaged' >$L", kRegister, 0, "damaged", 0},
    {"truncate -s 17M $L", "kxl list", 1, "damaged", 0},
    {"rm $L; mkfifo $L", "kxl list", 1, "damaged", 0},
    {"rm $L; mkdir -p $L/x", kRegister, 4, "not-a-file", 0},
    {"sed -i 's/\"good\"/\"x\\&amp;y\"/' $L", kRegister, 4, "unwritable", 0, kAnybody,
     "fixed: take x&y out"},
    {"sed -i 's/good.*/&<\\/Application><Application appID=\"good\">/' $L", "kxl doctor", 0,
     "duplicate-entry", 0, kAnybody, "each of good"},
    {"sed -i s/UTF-8/ISO-8859-1/ $L", "kxl doctor", 0, "foreign-encoding", 0, kAnybody,
     "writes UTF-8"},
    {"printf '<Keld' >${L}_", kRegister, 0, "left-journal", 0},
    {"cp $L ${L}_; chgrp 0 ${L}_; chmod 600 ${L}_", kRegister, 4, "left-journal", 0, kMember},
    {"cp $L ${L}_; mount --bind $S $S; mount -o remount,ro,bind $S", kRegister, 4, "left-journal",
     4, kRoot, "remove it: Read-only file system"},
    {"mkdir -p ${L}_/x", kRegister, 4, "not-a-file", 0},
    {"sed -i 's,>/<,>/gone<,' $L", "kxl doctor", 1, "gone-application", 1, kAnybody,
     "kxl unregister good"},
    {"ln -s /nowhere $K", kUnregister, 4, "stale-lock", 0},
    {": >$K", kUnregister, 4, "stale-lock", 0},
    {": >$K; touch -d '5 minutes ago' $K", kUnregister, 4, "foreign-lock", 4, kMembers,
     "user of number 0"},
    {"kxl available a A /; : >$Q", kAsk, 8, "stale-lock", 8},
    {"mount -t tmpfs -o mode=0755 t /dev/shm", kRegister, 4, "no-shared-memory", 4, kMember,
     "see to the rights"},
    {"mount -t tmpfs -o ro t /dev/shm", kRegister, 4, "read-only", 4, kRoot,
     "mount it for writing"},
    {"mount -t tmpfs t /dev; mknod -m 666 /dev/null c 1 3", kRegister, 4, "no-shared-memory", 4,
     kRoot, "mount a tmpfs of mode 1777"},
    {"printf '<' >$C", "kxl components", 1, "damaged", 0},
    {"mkdir $C", kMissing, 1, "not-a-file", 0},
    {"kxl missing a A / --component n c 1; chmod 600 $C", kMissing, 9, "wrong-mode", 9},
    {"printf '<KeldaUpdaterMissingCompsManager><x y=\"&amp;\"/></KeldaUpdaterMissingCompsManager>'"
     " >$C",
     kMissing, 1, "unwritable", 0, kAnybody, "fixed: take <x> out"},
    {"printf '<Keld' >${C}_", kMissing, 0, "left-journal", 0},
    {"printf '<KeldaUpdater><' >$P", "kxl prefs", 1, "damaged", 0},
    {"mkdir $P", "kxl prefs", 1, "not-a-file", 0},
    {"set_prefs; chmod 0 $P", "kxl prefs", 1, "wrong-mode", 0, kUser},
    {"set_prefs AutoCheckFreq weekly", "! kxl prefs | grep 'not valid'", 1, "bad-setting", 0},
    {"set_prefs LastDateCheck 2999-01-01",
     "kxl check --scheduled; timeout 3 sh -c \"until [ -e $T/launched ]; do :; done\"", 124,
     "future-date", 0},
    {"set_prefs logFileLib /none/x.log", kTraces, 1, "log-unopenable", 1, kAnybody, "logFileLib"},
    {": >$D/kxlLib.log; chmod 400 $D/kxlLib.log", kTraces, 1, "log-unopenable", 0, kUser},
    {"mkdir $D/kxlLib.log", kTraces, 1, "not-a-file", 0},
    {"truncate -s 51M $D/kxl.log", "! find $D/kxl.log -size +50M | grep .", 1, "large-log", 0},
    {"printf 'b\\t2999-02-30 00:00:00\\r\\n' >$H", kHold, 1, "damaged", 0},
    {"mkdir $H", kHold, 1, "not-a-file", 0},
    {": >${H}_", kHold, 0, "left-journal", 0},
    {"rm -r $D; : >$D", kHold, 1, "not-a-folder", 0},
    {"chmod 500 $D", kHold, 1, "wrong-mode", 0, kUser},
    {"chmod 777 $D", kHold, 0, "too-open", 0},
    {"chown -R 0:0 $D", kHold, 1, "wrong-owner", 0, kMember},
    {"mount --bind $D $D; mount -o remount,ro,bind $D", kHold, 1, "read-only", 1, kRoot,
     "mount it for writing"},
    {"mkdir $D/Data; : >$D/Data/UpdateAvailable", kAsk, 8, "not-a-folder", 8},
    {": >$D/Install", "kxl prefs", 0, "not-a-folder", 0},
    {"mkdir -p $D/Data/UpdateAvailable/a; cd $D/Data/UpdateAvailable/a; : >7.xml; touch -d '30 "
     "days ago' 7.xml",
     "kxl available a A / --request 7", 0, "old-answer", 8},
    {"mkdir -p $R/Kelda/Updater6/Updater6; : >$R/Kelda/Updater6/Updater6/locked", kAsk, 1,
     "not-a-folder", 8},
    {"rm -r $R; : >$R", kAsk, 1, "no-runtime-folder", 8},
    {"chmod 500 $R", kAsk, 1, "no-runtime-folder", 1, kUser, "see to"},
    {"rm \"$U\"", "kxl action good", 2, "missing-updater", 2, kAnybody, "install"},
    {"rm \"$U\"; mkdir \"$U\"", kActs, 124, "bad-updater", 124, kAnybody, "install"},
    {"echo x >\"$U\"", kActs, 124, "bad-updater", 124, kAnybody, "install"},
    {"chmod 644 \"$U\"", kActs, 124, "bad-updater", 124, kAnybody, "install"},
    {"set_switch '<true/>'; chmod 600 $A", "kxl enabled", 0, "switch-unreadable", 7, kMember},
    {"set_switch '<string>true</string>'", "kxl enabled", 0, "switch-wrong-type", 0, kAnybody,
     "<true/>"},
    {"set_switch '<true/>'; sed -i s/Disable/disable/ $A", "kxl enabled", 0, "switch-without-key",
     0, kAnybody, "<true/>"},
    {"printf '<plist>' >$A", "kxl enabled", 0, "switch-damaged", 0, kAnybody, "<true/>"},
    {"mkdir $A", "kxl enabled", 0, "switch-damaged", 0, kAnybody, "<true/>"},
};

class Doctor : public testing::Test {
 protected:
  void SetUp() override {
    // What is mounted here is nobody else's.
    canMount_ = IsRoot() && unshare(CLONE_NEWNS) == 0 &&
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  }

  static bool IsRoot() { return geteuid() == 0; }

  // The state that the package makes, with an application and an empty data folder.
  void Begin(As caller = kAnybody) {
    EXPECT_EQ(
        Run("for m in $(awk -v t=$T '$1==\"t\" || index($2,t)==1 {print $2}' /proc/mounts); do "
            "umount -l $m; done; "
            "chmod -R u+rwX $T; rm -rf $T/* $K $Q; mkdir -p $D $R $T/etc $S",
            kAnybody)
            .first,
        0);
    WithAccounts();
    WriteScript(UpdaterExecutable(), ": >" + InTestFolder("launched") + "\n");
    WriteFile(ListPath(), ApplicationList(ApplicationEntry("good", "Good", "/")));
    Run(IsRoot() ? "chmod 755 $T; chown 0:5000 $S $L; chmod 2775 $S; chmod 664 $L"
                 : "chmod 755 $T; chmod 775 $S; chmod 664 $L");
    if (caller >= kMember) Run("chown -R 2000 $T/home $R");
  }

  // The exit status and both streams of the commands.
  static std::pair<int, std::string> Run(const std::string& commands, As by = kAnybody) {
    const std::string shell =
        "K='" + esd::SemaphorePath(ListPath()) + "' Q='" + esd::SemaphorePath("KeldaUpdater6a") +
        "' AS='" + (by >= kMember ? "setpriv --reuid 2000 --regid 2000 --groups 5000" : "") +
        "'\n" + kPrelude + commands;
    FILE* pipe = popen(shell.c_str(), "re");
    std::string text;
    for (int byte; (byte = getc(pipe)) != EOF;) text += static_cast<char>(byte);
    return {WEXITSTATUS(pclose(pipe)), text};
  }

  bool Finds(const std::string& finding, As by) {
    return Run("kxl doctor --json", by).second.find("{\"finding\":\"" + finding + "\"") !=
           std::string::npos;
  }

  bool canMount_ = false;
};

TEST_F(Doctor, MendsOrTellsWhatToDo) {
  int rows = 0;
  Begin();
  EXPECT_EQ(Run("kxl doctor"), (std::pair(0, std::string("nothing is wrong\n"))));
  // Not so in root's own home.
  const bool canOthersRunIt = Run("kxl version", kMember).first != 127;
  for (const Damage& damage : kDamages) {
    if (damage.as >= kMember && !canOthersRunIt) continue;
    if (IsRoot() ? damage.as == kUser : damage.as != kUser && damage.as != kAnybody) continue;
    if (!canMount_ && std::strstr(damage.doing, "mount ") != nullptr) continue;
    const As doctor = damage.as == kMembers ? kMember : kAnybody;
    ++rows;
    SCOPED_TRACE(damage.doing);
    Begin(damage.as);
    const auto [broken, how] = Run(damage.doing);
    EXPECT_EQ(Run(damage.call, damage.as).first, damage.before) << how;
    Begin(damage.as);
    Run(damage.doing);
    EXPECT_TRUE(Finds(damage.finding, doctor)) << Run("kxl doctor", doctor).second;
    const auto [status, text] = Run("kxl doctor --fix", doctor);
    EXPECT_NE(text.find(damage.said), std::string::npos) << text;
    EXPECT_EQ(Run(damage.call, damage.as).first, damage.after) << text;
    if (std::string_view(damage.said).starts_with("fixed")) {
      EXPECT_EQ(status, 0) << text;
      EXPECT_FALSE(Finds(damage.finding, doctor)) << text;
    }
  }
  std::printf("%d of %zu damages; the others need %s\n", rows, std::size(kDamages),
              IsRoot() ? "an ordinary user, mounts, or a build that others can run" : "root");
  Begin();
}

// The newest of what was set aside counts, and a file that is not whole stays.
TEST_F(Doctor, ReplacesNothingThatWasSetAside) {
  Begin();
  const std::string aside = ListPath() + ".damaged";
  for (const std::string id : {"1", "2", "3"}) {
    WriteFile(ListPath(), "<KeldaUpdaterRegistrationManager>" + ApplicationEntry(id, id, "/") +
                              ApplicationEntry("same", id, "/") +
                              (id == "2" ? "<Application appID=\"torn" : "<"));
    EXPECT_EQ(Run("kxl doctor --fix").first, 0);
    EXPECT_EQ(Count(ReadFile(aside + "." + id), "appID=\"" + id), 1U);
  }
  const std::string before = Run("kxl doctor").second;
  const std::string dryRun = Run("kxl doctor --dry-run").second;
  EXPECT_EQ(dryRun.size(), before.size() + Count(dryRun, "-> would ") * std::strlen("would "));
  EXPECT_EQ(Run("kxl doctor --fix --restore").first, 0);
  EXPECT_EQ(Run("kxl list").second, "3     3  /\nsame  3  /\n2     2  /\n1     1  /\n");
  EXPECT_EQ(Run("ls -d " + aside + "*").second, aside + ".2\n");
}

}  // namespace
