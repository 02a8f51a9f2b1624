/* A host application that makes one call (with ASKER as the identifier of a question), for the
 * sweep to kill or to let system calls or, with a fourth argument, allocations fail in: the Nth, or
 * with N+ that one and all later ones. sweep_host OPERATION ASKER [N[+]] Its exit status is what
 * the call answered, or 20 + the number of an answer of the updater; 100 when the call has left
 * descriptors open. */
#include <dlfcn.h>
#include <errno.h>
#include <grp.h>
#include <kxl/kxl.h>
#include <poll.h>
#include <pwd.h>
#include <semaphore.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

enum { kDescriptors = 256, kHaste = 100, kPatience = 20, kLeak = 100, kAnswer = 20 };

/* Time goes by faster for the library: a lock that is not to be had costs the sweep some hundredths
 * of a second, not some seconds. */
int clock_gettime(clockid_t clock, struct timespec* now) {
  int status = (int)syscall(SYS_clock_gettime, clock, now);
  if (status == 0 && clock == CLOCK_MONOTONIC) {
    long long nanoseconds = (now->tv_sec * 1000000000LL + now->tv_nsec) * kHaste;
    now->tv_sec = (time_t)(nanoseconds / 1000000000);
    now->tv_nsec = (long)(nanoseconds % 1000000000);
  }
  return status;
}

static int isCounting = 0;
static long allocations = 0;
static long failing = -1;
static int failAllLater = 0;

static int Fails(void) {
  if (!isCounting) return 0;
  ++allocations;
  if (allocations != failing && !(failAllLater && allocations > failing)) return 0;
  errno = ENOMEM;
  return 1;
}

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* malloc(size_t size) { return Fails() ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return Fails() ? NULL : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return Fails() ? NULL : __libc_realloc(memory, size); }

/* The C library cannot tell of a lock that it has made and then has no memory to remember. */
sem_t* sem_open(const char* name, int flags, ...) {
  sem_t* (*next)(const char*, int, ...);
  sem_t* semaphore;
  const int wasCounting = isCounting;
  isCounting = 0;
  *(void**)&next = dlsym(RTLD_NEXT, "sem_open");
  semaphore = next(name, flags, 0700, 1);
  isCounting = wasCounting;
  return semaphore;
}

/* How many descriptors are open. The library makes no such call, so none of these is made to fail.
 */
static int OpenDescriptors(void) {
  struct pollfd entries[kDescriptors];
  const struct timespec atOnce = {0, 0};
  int count = 0;
  int i;
  for (i = 0; i < kDescriptors; ++i) {
    entries[i].fd = i;
    entries[i].events = 0;
    entries[i].revents = 0;
  }
  ppoll(entries, kDescriptors, &atOnce, NULL);
  for (i = 0; i < kDescriptors; ++i) count += (entries[i].revents & POLLNVAL) == 0;
  return count;
}

static int Call(const char* operation, const char* asker) {
  static char id[] = "com.example.editor";
  const char* name = "Editor";
  const char* folder = "/opt/editor";
  uint32_t hour = 3600;
  if (strncmp(operation, "register", 8) == 0) return KXLRegisterApplication(id, name, folder);
  if (strncmp(operation, "unregister", 10) == 0) return KXLUnRegisterApplication(id);
  if (strncmp(operation, "missing", 7) == 0) {
    const KXLMissingComponent component = {"Dictionary", "Spelling", "1.2"};
    const KXLMissingComponent* const components[] = {&component};
    const KXLMissingComponentList list = {1, components};
    return KXLDownloadMissingComponents(id, name, folder, "en_US", &list, 4, false);
  }
  if (strncmp(operation, "prefer", 6) == 0) {
    return KXLTriggerUpdateCheck(id, name, folder, "en_US", KXL_TRIGGER_MANUAL, false);
  }
  if (strncmp(operation, "hold", 4) == 0) return KXLSuppressUpdates(id, NULL, &hour, 0);
  if (strncmp(operation, "unhold", 6) == 0) return KXLSuppressUpdates(id, NULL, NULL, 0);
  if (strcmp(operation, "answer") == 0) {
    int32_t number = 0;
    const int32_t code = KXLIsUpdateAvailable(asker, name, folder, 7, &number, false);
    return code == ESD_ERR_OK ? kAnswer + number : code;
  }
  if (strcmp(operation, "enabled") == 0) return KXLIsUpdateCheckEnabled() ? 0 : 1;
  if (strcmp(operation, "plugin") == 0) return KXLDoPluginAction(id);
  return KXLGetVersion() != 0 ? 0 : 1;
}

int main(int argc, char** argv) {
  char made[64];
  int before;
  int code;
  if (argc != 3 && argc != 4) return 64;
  if (argc == 4) {
    failing = atol(argv[3]);
    failAllLater = strchr(argv[3], '+') != NULL;
  }
  alarm(kPatience);
  getgrgid(getgid()); /* the wrapped account database keeps its files open */
  getpwuid(getuid());
  before = OpenDescriptors();
  access("the sweep begins here", F_OK);
  isCounting = 1;
  code = Call(argv[1], argv[2]);
  isCounting = 0;
  snprintf(made, sizeof made, "allocations: %ld", allocations);
  access(made, F_OK);
  /* The trace log stays open. */
  return OpenDescriptors() > before + 1 ? kLeak : code;
}
