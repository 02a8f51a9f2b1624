#include <kxl/kxl.h>

#include "support/host.h"
#include "support/updater.h"

namespace {

using namespace kxl_test;

Call Missing(const std::vector<Text>& components) {
  Call call = {"DownloadMissingComponents", "a", "A", "/a", "de-de"};
  call.insert(call.end(), components.begin(), components.end());
  return call;
}

TEST(MissingComponentsRequest, TellsWhatBecameOfTheList) {
  const StartedUpdater updater;
  const std::tuple<const char*, Call, int> cases[] = {
      {"an empty list", Missing({""}), ESD_ERR_OK},
      {"a new one", Missing({"n", "c", "1"}), ESD_ERR_OK},
      {"a listed one", Missing({"n", "c", "1.0"}), KXL_ALL_LISTED},
      {"listed and new", Missing({"n", "c", "1", "m", "c", "1"}), ESD_ERR_OK},
      {"new and listed", Missing({"o", "c", "1", "n", "c", "1"}), ESD_ERR_OK},
      {"all listed", Missing({"o", "c", "1", "*", "c", "1"}), KXL_ALL_LISTED}};
  for (const auto& [what, call, code] : cases) {
    EXPECT_EQ(CallsInHost({call}), std::vector{code}) << what;
    EXPECT_EQ(updater.Task(), "3 de_DE -") << what;
  }
  EXPECT_EQ(Count(ReadLog(LibraryLog()),
                  "MissingMedia Path = " + ComponentsPath() + "\nLaunching KXL.\n"),
            6U);
  EXPECT_EQ(CallsInHost({Missing({"p", "c", "1", "q", "c", "1.2.3.4.5", "r", "c", "1"}),
                         Missing({"p", "c", std::nullopt})}),
            std::vector(2, ESD_ERR_FAILURE + 0));
  const std::string list = ReadFile(ComponentsPath());
  EXPECT_EQ(Count(list, "name=\"p\""), 1U) << "those before the failure stay";
  EXPECT_EQ(Count(list, "<AMissingComponent "), 4U);
}

}  // namespace
