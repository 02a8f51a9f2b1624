// What the updater goes by in the user's preferences.
#ifndef KXL_TOOLS_UPDATER_SETTINGS_H
#define KXL_TOOLS_UPDATER_SETTINGS_H

#include <cstdint>
#include <optional>
#include <string>

namespace updater {

struct Settings {
  std::string logFile;
  std::int32_t logLevel;
  std::string downloadFolder;
};

// Waits for the preferences' lock once, 3 seconds at most, and gives it back. Nothing when it was
// not to be had, or when the file cannot be read. Throws std::exception when there is no folder for
// the file.
std::optional<Settings> ReadSettings();

}  // namespace updater

#endif  // KXL_TOOLS_UPDATER_SETTINGS_H
