// The user's list of missing components: a request's texts and number, and the list's file.
#include "stores/missing_components.h"

#include <algorithm>

#include "fuzz/machine.h"

namespace {

using kxl::KeldaUpdaterAMissingComponent;
using kxl::KeldaUpdaterMissingCompsApp;
using kxl::KeldaUpdaterMissingCompsManager;

std::string ListPath() { return fuzz::DataPath(kxl::kMissingComponentsFileName); }

struct Request {
  std::string appId, displayName, installPath, name, category, version;
  std::int32_t type;
};

kxl::AddResult Add(KeldaUpdaterMissingCompsManager& list, const Request& request) {
  return list.AddMissingComponent({request.appId.c_str(), request.displayName.c_str(),
                                   request.installPath.c_str(), request.type, request.name.c_str(),
                                   request.category.c_str(), request.version.c_str()});
}

std::vector<std::string> Records(KeldaUpdaterMissingCompsManager& list,
                                 const std::string& without) {
  std::vector<KeldaUpdaterMissingCompsApp> apps;
  std::vector<std::string> records;
  list.GetMissingCompsApps(apps);
  bool isLeftOut = false;
  for (const KeldaUpdaterMissingCompsApp& app : apps) {
    std::string appId;
    const bool isFirst = !isLeftOut && app.GetAppID(appId) && appId == without;
    isLeftOut = isLeftOut || isFirst;
    if (!isFirst) records.push_back(fuzz::Printed(app.Node()));
  }
  return records;
}

void CheckListed(const Request& request) {
  KeldaUpdaterMissingCompsManager reader;
  KeldaUpdaterMissingCompsApp app{esd::XMLNodePointer()};
  std::string name;
  std::string path;
  std::int32_t type = 0;
  kxl::Version version;
  fuzz::Check(reader.Find(request.appId, app), "what was added is found");
  fuzz::Check(app.GetDisplayName(name) && app.GetInstallPath(path) && app.GetOperationType(type),
              "the record is complete");
  const bool hasCarriageReturn =
      (request.displayName + request.installPath).find('\r') != std::string::npos;
  fuzz::Check(hasCarriageReturn || (name == request.displayName && path == request.installPath),
              "the record's texts are the last request's");
  fuzz::Check(type == request.type, "the operation is the last request's");
  fuzz::Check(version.Parse(request.version) &&
                  app.HasComponent(request.name, request.category, version,
                                   KeldaUpdaterMissingCompsApp::Wildcards::kYes),
              "the component is listed");
  KeldaUpdaterMissingCompsManager again;
  fuzz::Check(Add(again, request) == kxl::AddResult::kListed, "once is enough");
}

void CheckRemoving(const Request& request) {
  KeldaUpdaterMissingCompsManager list;
  KeldaUpdaterMissingCompsApp app{esd::XMLNodePointer()};
  std::vector<KeldaUpdaterAMissingComponent> components;
  if (!list.Find(request.appId, app) || !app.GetComponents(components)) return;
  if (!list.RemoveComponents(request.appId, components)) return;
  std::vector<KeldaUpdaterAMissingComponent> left;
  if (list.Find(request.appId, app) && app.GetComponents(left)) {
    // Another record of the same identifier may lack other things.
    fuzz::Check(!left.empty(), "a record that lacks nothing goes");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  Request request;
  for (std::string* text : {&request.appId, &request.displayName, &request.installPath,
                            &request.name, &request.category, &request.version}) {
    *text = std::string(input.Field()).c_str();
  }
  request.type = input.NumberField();
  const std::string contents = input.Rest();
  fuzz::Put(ListPath(), contents);
  fuzz::Put(ListPath() + ".damaged", {});
  bool loads = false;
  {
    KeldaUpdaterMissingCompsManager list;
    loads = list.Load();
    const std::string loaded = fuzz::Contents(ListPath());
    const std::vector<std::string> others = Records(list, request.appId);
    const kxl::AddResult result = Add(list, request);
    if (result == kxl::AddResult::kFailed) {
      fuzz::Check(fuzz::Contents(ListPath()) == loaded, "a failure leaves the file");
    } else {
      fuzz::Check(loads, "a list that does not load is not written");
      fuzz::Check(result == kxl::AddResult::kListed || fuzz::Contents(ListPath()) != loaded,
                  "an addition changes the file");
      const std::vector<std::string> after = Records(list, request.appId);
      fuzz::Check(after == others, "the other records stay");
      CheckListed(request);
      CheckRemoving(request);
    }
  }
  fuzz::Check(!fuzz::Exists(ListPath() + "_"), "no journal stays");
  fuzz::Check(loads ? !fuzz::Exists(ListPath() + ".damaged")
                    : fuzz::Contents(ListPath() + ".damaged") == contents,
              "a damaged list is set aside, and no other");
  fuzz::Put(ListPath(), {});
  return 0;
}
