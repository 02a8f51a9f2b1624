// What there is to update and to fetch: a folder, <root>/var/lib/Kelda/Updater6/Catalogue, with the
// files of components and this index of it, catalogue.xml:
//
//   <Catalogue>
//   <Update appID="com.example.editor"/>
//   <Component name="Dictionary" category="Spelling" version="1.2" file="dictionary.dat"/>
//   </Catalogue>
//
// An update waits for every application that is named so. A component's file lies in the folder
// itself; versions have up to four numbers.
#ifndef KXL_TOOLS_UPDATER_CATALOGUE_H
#define KXL_TOOLS_UPDATER_CATALOGUE_H

#include <string>
#include <string_view>
#include <vector>

#include "esd/xml_document.h"
#include "stores/missing_components.h"

namespace updater {

// Read once. A missing or damaged one is empty.
class Catalogue {
 public:
  Catalogue();

  bool HasUpdate(std::string_view appId) const;

  // The files, as paths, of the components that the wanted one stands for; one named "*" stands for
  // all of its category and version.
  std::vector<std::string> Files(const kxl::KeldaUpdaterAMissingComponent& wanted) const;

 private:
  std::string folder_;
  esd::SearchResult entries_;
};

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_CATALOGUE_H
