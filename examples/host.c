/*
 * The smallest host application: it registers itself with the updater, or unregisters.
 *
 *   host register FOLDER     after installing, and at every start in case it was moved
 *   host unregister          before it is removed
 */
#include <kxl/kxl.h>
#include <stdio.h>
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

int main(int argc, char** argv) {
  if (argc == 3 && strcmp(argv[1], "register") == 0) return Register(argv[2]);
  if (argc == 2 && strcmp(argv[1], "unregister") == 0) return Unregister();
  fprintf(stderr, "usage: %s register FOLDER | unregister\n", argv[0]);
  return 2;
}
