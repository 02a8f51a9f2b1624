/*
 * The smallest host application of the updater.
 *
 *   host register FOLDER       after installing, and at every start in case it was moved
 *   host check [--scheduled]   the user asks for updates, or it is time to look again
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
  if (argc == 3 && strcmp(argv[1], "hold") == 0) {
    return Hold((uint32_t)strtoul(argv[2], NULL, 10));
  }
  if (argc == 2 && strcmp(argv[1], "unregister") == 0) return Unregister();
  fprintf(stderr, "usage: %s register FOLDER | check [--scheduled] | hold SECONDS | unregister\n",
          argv[0]);
  return 2;
}
