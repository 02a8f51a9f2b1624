/*
 * How long each call of the library keeps its caller at the worst.
 *
 *   worst_case LOCK...     the files that stand for the locks, as /dev/shm/sem.NAME
 *
 * Times the first and a later call of a fresh process: with the locks free, and with every one of
 * them held by somebody else for as long as the call lasts. Prints a table in Markdown. Give it a
 * throw-away machine (KXL_ROOT, HOME) where the user is an administrator and an updater is
 * installed; scripts/worst_case.sh does.
 */
#define _GNU_SOURCE
#include <fcntl.h>
#include <kxl/kxl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { kMaximumLocks = 16, kRuns = 9 };

static const char identifier[] = "com.example.editor";
static const char name[] = "Example Editor";
static const char folder[] = "/opt/example/editor";

/* What this process has made, for its end to remove. */
static char** held[kMaximumLocks];
static volatile sig_atomic_t heldCount;
static char busPath[108];
static pid_t updater;
static pid_t self;

static void ReleaseLocks(void) {
  while (heldCount > 0) {
    --heldCount;
    unlink(*held[heldCount]);
  }
}

/* Async-signal-safe; children leave everything to their parent. A call that is under way is let
 * end: killed, it could leave a lock of its own. */
static void CleanUp(void) {
  if (getpid() != self) return;
  ReleaseLocks();
  if (updater > 0) kill(updater, SIGKILL);
  if (busPath[0] != '\0') unlink(busPath);
  while (wait(NULL) > 0) {
  }
}

static void OnSignal(int number) {
  CleanUp();
  _exit(128 + number);
}

static void SetHandlers(void (*handler)(int)) {
  const int signals[] = {SIGHUP, SIGINT, SIGPIPE, SIGTERM};
  for (size_t i = 0; i < sizeof signals / sizeof *signals; ++i) signal(signals[i], handler);
}

static void Fail(const char* text) {
  perror(text);
  exit(EXIT_FAILURE);
}

static void HoldLocks(int count, char** locks) {
  for (int i = 0; i < count; ++i) {
    const int file = open(locks[i], O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file == -1) Fail(locks[i]);
    close(file);
    held[heldCount] = &locks[i];
    ++heldCount;
  }
}

/* The calls, each as costly as it can be; those that succeed ask for something new each time. */

static int32_t Register(void) {
  static int moves;
  char path[64];
  snprintf(path, sizeof path, "/opt/example/%d-%d", (int)getpid(), ++moves);
  return KXLRegisterApplication(identifier, name, path);
}

static int32_t Unregister(void) { return KXLUnRegisterApplication(identifier); }

static int32_t Enabled(void) { return KXLIsUpdateCheckEnabled(); }

static int32_t Check(void) {
  return KXLTriggerUpdateCheck(identifier, name, folder, "en_US", KXL_TRIGGER_SCHEDULED, false);
}

static int32_t CheckAndRegister(void) {
  return KXLTriggerUpdateCheck(identifier, name, folder, "en_US", KXL_TRIGGER_SCHEDULED, true);
}

static int32_t Available(void) {
  int32_t waits = 0;
  return KXLIsUpdateAvailable(identifier, name, folder, 1, &waits, false);
}

static int32_t AvailableAndRegister(void) {
  int32_t waits = 0;
  return KXLIsUpdateAvailable(identifier, name, folder, 1, &waits, true);
}

static int32_t MissingOne(bool bOverrideData) {
  static int count;
  char version[32];
  const KXLMissingComponent component = {"Dictionary", "Spelling", version};
  const KXLMissingComponent* const components[] = {&component};
  const KXLMissingComponentList list = {1, components};
  snprintf(version, sizeof version, "%d.%d", (int)getpid(), ++count);
  return KXLDownloadMissingComponents(identifier, name, folder, "en_US", &list, 0, bOverrideData);
}

static int32_t Missing(void) { return MissingOne(false); }

static int32_t MissingAndRegister(void) { return MissingOne(true); }

static int32_t Act(void) { return KXLDoPluginAction(identifier); }

static int32_t Hold(void) {
  char buffer[sizeof identifier];
  uint32_t seconds = 60;
  memcpy(buffer, identifier, sizeof identifier);
  return KXLSuppressUpdates(buffer, NULL, &seconds, 0);
}

static int32_t Version(void) { return KXLGetVersion() == 0; }

/* What has to be there before a call, made without the clock running. */

static void BeRegistered(void) { KXLRegisterApplication(identifier, name, folder); }

static void ClearHold(void) {
  char buffer[sizeof identifier];
  memcpy(buffer, identifier, sizeof identifier);
  KXLSuppressUpdates(buffer, NULL, NULL, 0);
}

static void BeDue(void) {
  BeRegistered();
  ClearHold();
}

typedef struct {
  const char* name;
  int32_t (*call)(void);
  void (*prepare)(void);
} Case;

static const Case cases[] = {
    {"KXLRegisterApplication", Register, BeRegistered},
    {"KXLUnRegisterApplication, the last one", Unregister, BeRegistered},
    {"KXLIsUpdateCheckEnabled", Enabled, BeRegistered},
    {"KXLTriggerUpdateCheck, scheduled", Check, BeDue},
    {"... with bOverrideData", CheckAndRegister, BeDue},
    {"KXLIsUpdateAvailable", Available, BeRegistered},
    {"... with bOverrideData", AvailableAndRegister, BeRegistered},
    {"KXLDownloadMissingComponents, one component", Missing, BeRegistered},
    {"... with bOverrideData", MissingAndRegister, BeRegistered},
    {"KXLDoPluginAction", Act, BeRegistered},
    {"KXLSuppressUpdates", Hold, BeRegistered},
    {"KXLGetVersion", Version, BeRegistered},
};

/* With an updater that runs and a session bus that takes connections and never answers. */
static const Case busCases[] = {
    {"KXLDownloadMissingComponents, one component", Missing, BeRegistered},
    {"KXLSuppressUpdates", Hold, BeRegistered},
};

typedef struct {
  double milliseconds[2]; /* the first call of the process, a later one */
  int32_t codes[2];
} Times;

static double Milliseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec * 1e3 + (double)now.tv_nsec / 1e6;
}

static void Time(const Case* that, int call, Times* times) {
  const double start = Milliseconds();
  times->codes[call] = that->call();
  times->milliseconds[call] = Milliseconds() - start;
}

static pid_t Fork(void) {
  fflush(NULL);
  const pid_t child = fork();
  if (child == -1) Fail("fork");
  if (child == 0) SetHandlers(SIG_IGN);
  return child;
}

static void Prepare(const Case* that) {
  const pid_t child = Fork();
  if (child == 0) {
    that->prepare();
    _exit(EXIT_SUCCESS);
  }
  waitpid(child, NULL, 0);
}

/* In a process that has not called the library before: this one never does. */
static Times Run(const Case* that, bool prepareBetween) {
  Times times;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) Fail("pipe");
  const pid_t child = Fork();
  if (child == 0) {
    Time(that, 0, &times);
    if (prepareBetween) that->prepare();
    Time(that, 1, &times);
    _exit(write(ends[1], &times, sizeof times) == sizeof times ? EXIT_SUCCESS : EXIT_FAILURE);
  }
  close(ends[1]);
  if (read(ends[0], &times, sizeof times) != sizeof times) Fail("a call has ended its process");
  close(ends[0]);
  waitpid(child, NULL, 0);
  return times;
}

static int Compare(const void* one, const void* other) {
  const double difference = *(const double*)one - *(const double*)other;
  return (difference > 0) - (difference < 0);
}

static Times Median(const Case* that) {
  double sorted[2][kRuns];
  Times times;
  for (int run = 0; run < kRuns; ++run) {
    Prepare(that);
    times = Run(that, true);
    for (int call = 0; call < 2; ++call) sorted[call][run] = times.milliseconds[call];
  }
  for (int call = 0; call < 2; ++call) {
    qsort(sorted[call], kRuns, sizeof sorted[call][0], Compare);
    times.milliseconds[call] = sorted[call][kRuns / 2];
  }
  return times;
}

static void Print(const Times* times) {
  for (int call = 0; call < 2; ++call) {
    const double value = times->milliseconds[call];
    printf(value < 100 ? " %.1f ms, code %d |" : " %.0f ms, code %d |", value,
           (int)times->codes[call]);
  }
}

static void StartUpdater(void) {
  updater = Fork();
  if (updater != 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  prctl(PR_SET_NAME, "Kelda Updater");
  for (;;) pause();
}

static void StartSilentBus(void) {
  struct sockaddr_un address = {AF_UNIX, ""};
  char variable[sizeof busPath + 16];
  const int bus = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  snprintf(address.sun_path, sizeof address.sun_path, "%s/silent-bus", getenv("XDG_RUNTIME_DIR"));
  if (bus == -1 || bind(bus, (struct sockaddr*)&address, sizeof address) != 0) Fail("bus");
  memcpy(busPath, address.sun_path, sizeof busPath);
  if (listen(bus, SOMAXCONN) != 0) Fail("bus");
  snprintf(variable, sizeof variable, "unix:path=%s", busPath);
  setenv("DBUS_SESSION_BUS_ADDRESS", variable, 1);
}

int main(int argc, char** argv) {
  if (argc < 2 || argc > kMaximumLocks || getenv("XDG_RUNTIME_DIR") == NULL) {
    fputs("usage: worst_case LOCK..., with XDG_RUNTIME_DIR set\n", stderr);
    return 64;
  }
  self = getpid();
  atexit(CleanUp);
  SetHandlers(OnSignal);

  puts("| call | locks held: first | later | locks free: first | later |\n|---|---|---|---|---|");
  for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
    const Times freeTimes = Median(&cases[i]);
    Prepare(&cases[i]);
    HoldLocks(argc - 1, argv + 1);
    const Times heldTimes = Run(&cases[i], false);
    ReleaseLocks();
    printf("| %s |", cases[i].name);
    Print(&heldTimes);
    Print(&freeTimes);
    putchar('\n');
    fflush(stdout);
  }
  StartUpdater();
  StartSilentBus();
  for (size_t i = 0; i < sizeof busCases / sizeof *busCases; ++i) {
    const Times times = Median(&busCases[i]);
    printf("| %s, a silent session bus | | |", busCases[i].name);
    Print(&times);
    putchar('\n');
  }
  return EXIT_SUCCESS;
}
