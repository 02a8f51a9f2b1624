#include "updater/catalogue.h"

#include <algorithm>

#include "esd/xml_parser.h"
#include "platform/folders.h"
#include "platform/path.h"

namespace updater {

Catalogue::Catalogue() {
  std::string folder;
  esd::ExpatDOMBuilder builder;
  if (!kxl::GetKeldaFolder(kxl::kLocalApplicationSupport, folder, kxl::LevelMode::kShared)) return;
  folder_ = kxl::JoinPath(folder, "Catalogue");
  if (!builder.Init() || !builder.ParseFile(kxl::JoinPath(folder_, "catalogue.xml"), false)) return;
  entries_ = esd::SearchResult(builder.Document()).FindChildren(esd::NameIs("Catalogue"));
}

bool Catalogue::HasUpdate(std::string_view appId) const {
  const esd::SearchResult updates = entries_.FindChildren(esd::NameIs("Update"));
  return std::any_of(updates.begin(), updates.end(), [&](const esd::XMLNodePointer& update) {
    return update->AttributeIs("appID", appId);
  });
}

std::vector<std::string> Catalogue::Files(const kxl::KeldaUpdaterAMissingComponent& wanted) const {
  std::vector<std::string> files;
  std::string name;
  std::string category;
  kxl::Version version;
  if (!wanted.GetName(name) || !wanted.GetCategory(category) || !wanted.GetVersion(version)) {
    return files;
  }
  for (const esd::XMLNodePointer& node : entries_.FindChildren(esd::NameIs("Component"))) {
    kxl::Version offered;
    const auto file = node->GetAttribute("file");
    if ((name == "*" || node->AttributeIs("name", name)) &&
        node->AttributeIs("category", category) &&
        kxl::KeldaUpdaterAMissingComponent(node).GetVersion(offered) && offered == version &&
        file && kxl::IsPathComponent(*file)) {
      files.push_back(kxl::JoinPath(folder_, *file));
    }
  }
  return files;
}

}  // namespace updater
