// The updater's preferences as they stand in the file, read without the lock and without making
// anything.
#ifndef KXL_TOOLS_KXL_SETTINGS_H
#define KXL_TOOLS_KXL_SETTINGS_H

#include <string>
#include <vector>

#include "esd/xml_parser.h"

namespace tool {

struct Setting {
  std::string key;
  std::string value;  // the file's, else the default; of a map setting "key=value" lines
  bool isSet;
  bool isValid;  // false when the text cannot be read as what the setting is
};

// Every setting there is, in the library's order; none when the file cannot be read.
std::vector<Setting> ReadSettings(esd::ReadStatus& status);

// The value of one of them; empty when the file cannot be read.
std::string SettingValue(const std::string& key);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_SETTINGS_H
