// The machine's list: an application's identifier, name and folder, a journal and the list's file.
#include "stores/registered_applications.h"

#include <algorithm>

#include "esd/xml_writer.h"
#include "fuzz/machine.h"

namespace {

using kxl::KeldaUpdaterRegisteredApp;
using kxl::KeldaUpdaterRegistrationManager;

std::string ListPath() { return fuzz::Path("var/lib/Kelda/Updater6/KeldaESDGlobalApps.xml"); }

// Every entry as text, with the first of that identifier left out when there is one.
std::vector<std::string> Entries(const std::vector<KeldaUpdaterRegisteredApp>& apps,
                                 const std::string* without = nullptr) {
  std::vector<std::string> entries;
  for (const KeldaUpdaterRegisteredApp& app : apps) {
    std::string appId;
    if (without != nullptr && app.GetAppId(appId) && appId == *without) {
      without = nullptr;
    } else {
      entries.push_back(fuzz::Printed(app.Node()));
    }
  }
  return entries;
}

bool Lists(const std::vector<KeldaUpdaterRegisteredApp>& apps, const std::string& appId) {
  return std::any_of(apps.begin(), apps.end(), [&](const KeldaUpdaterRegisteredApp& app) {
    std::string listed;
    return app.GetAppId(listed) && listed == appId;
  });
}

void CheckRegistering(const KeldaUpdaterRegisteredApp& app, const std::string& appId) {
  KeldaUpdaterRegistrationManager list;
  std::vector<KeldaUpdaterRegisteredApp> before;
  const bool loads = list.GetRegisteredApps(before);
  const std::string contents = fuzz::Contents(ListPath());
  const kxl::RegisterResult result = list.Register(app);
  if (result != kxl::RegisterResult::kAdded && result != kxl::RegisterResult::kReplaced) {
    fuzz::Check(fuzz::Contents(ListPath()) == contents, "what changes nothing leaves the file");
    return;
  }
  fuzz::Check(loads, "a list that does not load is not written");
  const bool replaces = result == kxl::RegisterResult::kReplaced;
  fuzz::Check(replaces == Lists(before, appId), "one that is listed is replaced");
  std::vector<std::string> expected = Entries(before, replaces ? &appId : nullptr);
  expected.push_back(fuzz::Printed(app.Node()));
  std::vector<KeldaUpdaterRegisteredApp> after;
  KeldaUpdaterRegistrationManager reader;
  fuzz::Check(reader.GetRegisteredApps(after), "what was written reads back");
  fuzz::Check(Entries(after) == expected, "the others stay, and the new one is the last");
}

// The list is in use, damaged, or its file gone: afterwards an application can be registered.
void CheckRecovery(const std::string& contents, const KeldaUpdaterRegisteredApp& app) {
  KeldaUpdaterRegistrationManager list;
  const std::string loaded = fuzz::Contents(ListPath());
  const bool loads = list.Load();
  fuzz::Check(list.Recover(), "a readable file can be recovered");
  if (loads) {
    fuzz::Check(fuzz::Contents(ListPath()) == loaded, "a list that loads stays");
    fuzz::Check(!fuzz::Exists(ListPath() + ".damaged"), "a list that loads is not set aside");
    return;
  }
  fuzz::Check(fuzz::Contents(ListPath() + ".damaged") == contents, "a damaged list is set aside");
  fuzz::Check(!fuzz::Exists(ListPath()), "a damaged list begins anew");
  if (esd::ReadsBack(*app.Node())) CheckRegistering(app, "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const std::string appId = input.Field();
  KeldaUpdaterRegisteredApp app{std::string_view(appId)};
  app.SetDisplayName(input.Field());
  app.SetInstallPath(input.Field());
  fuzz::Put(ListPath() + "_", input.Field());
  const std::string contents = input.Rest();
  fuzz::Put(ListPath(), contents);
  fuzz::Put(ListPath() + ".damaged", {});

  std::vector<KeldaUpdaterRegisteredApp> apps;
  KeldaUpdaterRegistrationManager list;
  list.GetRegisteredApps(apps);
  fuzz::Check(!fuzz::Exists(list.JournalPath()), "no journal stays");
  KeldaUpdaterRegisteredApp found{esd::XMLNodePointer()};
  fuzz::Check(list.Find(appId, found) == (appId != "KeldaUpdater" && Lists(apps, appId)),
              "what is listed is found");
  CheckRegistering(app, appId);
  CheckRecovery(contents, app);
  const bool wasListed = list.GetRegisteredApps(apps) && Lists(apps, appId);
  const kxl::UnregisterResult result = list.Unregister(appId);
  const bool isLast = result == kxl::UnregisterResult::kRemovedLast;
  if (isLast || result == kxl::UnregisterResult::kRemoved) {
    fuzz::Check(list.GetRegisteredApps(apps) && !Lists(apps, appId), "none of that name is left");
    fuzz::Check(isLast == apps.empty(), "the last one is told from the others");
    fuzz::Check(wasListed, "only what was listed is taken off");
  }
  return 0;
}
