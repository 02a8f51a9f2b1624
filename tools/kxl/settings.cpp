#include "kxl/settings.h"

#include <array>
#include <string_view>

#include "kxl/places.h"
#include "stores/preference_engine.h"

namespace tool {

namespace {

enum class Type { kBoolean, kInteger, kText, kMap };

struct Known {
  const char* key;
  Type type;
  const char* defaultValue;
};

constexpr std::array<Known, 20> kKnown = {
    {{"AutoCheck", Type::kBoolean, "1"},      {"AutoCheckType", Type::kInteger, "0"},
     {"DownloadDir", Type::kText, nullptr},   {"DisplayLang", Type::kText, ""},
     {"IsFirstRun", Type::kBoolean, "1"},     {"InBackground", Type::kBoolean, "0"},
     {"InTrayIcon", Type::kBoolean, "0"},     {"AutoCheckFreq", Type::kInteger, "1"},
     {"LastDateCheck", Type::kText, ""},      {"ShowNewProducts", Type::kBoolean, "0"},
     {"SilentCheck", Type::kBoolean, "0"},    {"ApplicationsEnabled", Type::kMap, ""},
     {"NotificationMessage", Type::kMap, ""}, {"Launch", Type::kText, ""},
     {"ProxyServer", Type::kText, ""},        {"ProxyPort", Type::kText, ""},
     {"ConnectionType", Type::kInteger, "0"}, {"logFile", Type::kText, nullptr},
     {"logFileLib", Type::kText, nullptr},    {"logLevel", Type::kInteger, "2"}}};

std::string DefaultOf(const Known& known) {
  if (known.defaultValue != nullptr) return known.defaultValue;
  const std::string_view key = known.key;
  if (key == "DownloadDir") return Below(DataFolder(), "Install");
  return key == "logFile" ? DefaultUpdaterLog() : DefaultLibraryLog();
}

bool IsValid(Type type, const std::string& text) {
  bool boolean;
  std::int32_t integer;
  if (type == Type::kBoolean) return esd::ParseValue(text, boolean);
  return type != Type::kInteger || esd::ParseValue(text, integer);
}

std::string MapText(const esd::XMLDocumentNode& element) {
  std::string text;
  for (const esd::XMLDocumentNode* const entry : element.GetChildren()) {
    if (!text.empty()) text += '\n';
    text += entry->GetAttribute("MapPrefKey").value_or("");
    text += '=';
    text += entry->GetText();
  }
  return text;
}

Setting Read(const Known& known, const esd::XMLNodePointer& root) {
  const esd::XMLNodePointer element = esd::FindChild(root, known.key);
  const bool isMap = known.type == Type::kMap;
  std::string text;
  if (element) text = isMap ? MapText(*element) : std::string(element->GetText());
  if (text.empty()) return {known.key, DefaultOf(known), false, true};
  return {known.key, text, true, IsValid(known.type, text)};
}

}  // namespace

std::vector<Setting> ReadSettings(esd::ReadStatus& status) {
  esd::ExpatDOMBuilder builder;
  std::vector<Setting> settings;
  const std::string path = PreferencesPath();
  status = esd::ReadStatus::kMissing;
  if (!path.empty() && builder.Init()) {
    builder.ParseFile(path, false);
    status = builder.LastRead();
  }
  const bool isEmpty = status == esd::ReadStatus::kMissing;
  if (!isEmpty && status != esd::ReadStatus::kParsed) return settings;
  const esd::XMLNodePointer root =
      isEmpty ? nullptr : esd::FindChild(builder.Document(), "KeldaUpdater");
  for (const Known& known : kKnown) settings.push_back(Read(known, root));
  return settings;
}

std::string SettingValue(const std::string& key) {
  esd::ReadStatus status;
  for (const Setting& setting : ReadSettings(status)) {
    if (setting.key == key) return setting.value;
  }
  return {};
}

}  // namespace tool
