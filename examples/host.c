/*
 * The smallest host application of the updater.
 *
 *   host register FOLDER       after installing, and at every start in case it was moved
 *   host check [--scheduled]   the user asks for updates, or it is time to look again
 *   host available             whether an update waits for it; run it again while it is pending
 *   host missing NAME CATEGORY VERSION    it lacks a component
 *   host action                the updater's plug-in action
 *   host hold SECONDS          no update notices for a while, during a presentation for instance
 *   host unregister            before it is removed
 */
#include <kxl/kxl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char identifier[] = "com.example.editor";

static int Register(const char* folder) {
  const int32_t code = KXLRegisterApplication(identifier, "Example Editor", folder);
  switch (code) {
    case ESD_ERR_OK:
      puts("registered");
      return 0;
    case ESD_ERR_ALREADYREGISTERED:
      puts("registered already, nothing to do");
      return 0;
    default:
      fprintf(stderr, "could not register: result code %d\n", (int)code);
      return 1;
  }
}

static int Unregister(void) {
  const int32_t code = KXLUnRegisterApplication(identifier);
  if (code == ESD_ERR_OK || code == ESD_ERR_NOTREGISTERED) {
    puts("not registered any more");
    return 0;
  }
  fprintf(stderr, "could not unregister: result code %d\n", (int)code);
  return 1;
}

static int Check(KXLTriggerType type) {
  const int32_t code =
      KXLTriggerUpdateCheck(identifier, "Example Editor", "/srv/editor", "en_US", type, false);
  printf("update check: result code %d\n", (int)code);
  return code == ESD_ERR_OK ? 0 : 1;
}

static int Available(void) {
  int32_t waits = -1; /* no answer; stays when the updater's is damaged */
  const int32_t code =
      KXLIsUpdateAvailable(identifier, "Example Editor", "/srv/editor", 1, &waits, false);
  switch (code) {
    case ESD_ERR_OK:
      puts(waits == -1  ? "the answer cannot be read"
           : waits != 0 ? "an update waits"
                        : "up to date");
      return 0;
    case ESD_ERR_NOTIFY_PENDING:
      puts("pending, ask again");
      return 0;
    default:
      fprintf(stderr, "could not ask: result code %d\n", (int)code);
      return 1;
  }
}

static int Missing(const char* name, const char* category, const char* version) {
  const KXLMissingComponent component = {name, category, version};
  const KXLMissingComponent* const components[] = {&component};
  const KXLMissingComponentList list = {1, components};
  const int32_t code = KXLDownloadMissingComponents(identifier, "Example Editor", "/srv/editor",
                                                    "en_US", &list, 0, false);
  printf("missing component: result code %d\n", (int)code);
  return code == ESD_ERR_OK || code == KXL_ALL_LISTED ? 0 : 1;
}

static int Act(void) {
  const int32_t code = KXLDoPluginAction(identifier);
  printf("plug-in action: result code %d\n", (int)code);
  return code == ESD_ERR_OK ? 0 : 1;
}

static int Hold(uint32_t seconds) {
  char buffer[sizeof identifier];
  int32_t code;
  memcpy(buffer, identifier, sizeof identifier);
  code = KXLSuppressUpdates(buffer, NULL, &seconds, 0);
  printf("hold of %u seconds: result code %d\n", (unsigned)seconds, (int)code);
  return code == ESD_ERR_OK ? 0 : 1;
}

int main(int argc, char** argv) {
  if (argc == 3 && strcmp(argv[1], "register") == 0) return Register(argv[2]);
  if (argc == 2 && strcmp(argv[1], "check") == 0) return Check(KXL_TRIGGER_MANUAL);
  if (argc == 3 && strcmp(argv[1], "check") == 0 && strcmp(argv[2], "--scheduled") == 0) {
    return Check(KXL_TRIGGER_SCHEDULED);
  }
  if (argc == 2 && strcmp(argv[1], "available") == 0) return Available();
  if (argc == 5 && strcmp(argv[1], "missing") == 0) return Missing(argv[2], argv[3], argv[4]);
  if (argc == 2 && strcmp(argv[1], "action") == 0) return Act();
  if (argc == 3 && strcmp(argv[1], "hold") == 0) {
    return Hold((uint32_t)strtoul(argv[2], NULL, 10));
  }
  if (argc == 2 && strcmp(argv[1], "unregister") == 0) return Unregister();
  fputs(
      "usage: host register FOLDER | check [--scheduled] | available |\n"
      "            missing NAME CATEGORY VERSION | action | hold SECONDS | unregister\n",
      stderr);
  return 2;
}
