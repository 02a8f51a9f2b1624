/* The public header in a C99 program, and what a host may rely on without reading further. */
#include <kxl/kxl.h>
#include <string.h>

int main(void) {
  char longId[300];
  KXLMissingComponent component = {"*", "fonts", "1.0"};
  const KXLMissingComponent* components[1] = {&component};
  KXLMissingComponentList list = {1, components};
  int32_t answer = 42;
  memset(longId, 'a', sizeof longId - 1);
  longId[sizeof longId - 1] = '\0';

  if (KXLGetVersion() != 0x62000000) return 1;
  if (KXLRegisterApplication(NULL, NULL, NULL) != ESD_ERR_INVALIDDATA) return 2;
  if (KXLUnRegisterApplication(longId) != ESD_ERR_INVALIDDATA) return 3;
  if (KXLIsUpdateAvailable(NULL, NULL, NULL, 1, &answer, false) == ESD_ERR_OK) return 4;
  if (answer != 42) return 5;
  if (KXLDownloadMissingComponents(NULL, NULL, NULL, NULL, &list, 0, false) == ESD_ERR_OK) return 6;
  if (KXLTriggerUpdateCheck("", NULL, NULL, NULL, KXL_TRIGGER_MANUAL, false) == ESD_ERR_OK)
    return 7;
  if (KXLDoPluginAction(NULL) == ESD_ERR_OK) return 8;
  if (KXLSuppressUpdates(NULL, NULL, NULL, 1) == ESD_ERR_OK) return 9;
  return KXLIsUpdateCheckEnabled() >= 0 ? 0 : 10;
}
