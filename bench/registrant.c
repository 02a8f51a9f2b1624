/*
 * registrant ID
 *
 * Registers the application under another name than before, and prints by how many bytes the most
 * memory that this process has ever taken grew meanwhile.
 */
#define _DEFAULT_SOURCE
#include <kxl/kxl.h>
#include <stdio.h>
#include <sys/resource.h>

static long Peak(void) {
  struct rusage usage;
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss * 1024;
}

int main(int argc, char** argv) {
  if (argc != 2 || KXLIsUpdateCheckEnabled() != 1) return 1; /* warms everything else up */
  const long before = Peak();
  if (KXLRegisterApplication(argv[1], "Registrant", "/opt/registrant") != ESD_ERR_OK) return 1;
  printf("%ld\n", Peak() - before);
  return 0;
}
