// The preferences: a text, a number, a key and the file.
#include <algorithm>
#include <map>
#include <vector>

#include "fuzz/machine.h"
#include "stores/updater_prefs.h"

namespace {

using kxl::KeldaUpdaterPrefs;

std::string Path() { return fuzz::DataPath("KeldaUpdaterPrefs.dat"); }

template <typename T>
std::string Text(const esd::BasicPref<T>& setting) {
  T value{};
  return setting.Get(value) ? esd::FormatValue(value) : "unreadable";
}

template <typename T>
std::string Text(const esd::MapPref<T>& setting) {
  std::map<std::string, T> values;
  if (!setting.Read(values)) return "unreadable";
  std::string text;
  for (const auto& [key, value] : values) text += key + "\x1F" + esd::FormatValue(value) + "\x1F";
  return text;
}

// Every setting but the three that are written here.
std::vector<std::string> Others(const KeldaUpdaterPrefs& prefs) {
  return {Text(prefs.AutoCheck),   Text(prefs.AutoCheckType),  Text(prefs.DownloadDir),
          Text(prefs.DisplayLang), Text(prefs.IsFirstRun),     Text(prefs.InBackground),
          Text(prefs.InTrayIcon),  Text(prefs.LastDateCheck),  Text(prefs.ShowNewProducts),
          Text(prefs.SilentCheck), Text(prefs.ProxyServer),    Text(prefs.ApplicationsEnabled),
          Text(prefs.ProxyPort),   Text(prefs.ConnectionType), Text(prefs.logFile),
          Text(prefs.logFileLib),  Text(prefs.logLevel)};
}

// Writes a setting: done, it reads back in a new object; refused, the file is as it was. The other
// settings stay in both cases.
template <typename Write, typename Read>
void CheckWriting(Write write, Read read, const std::string& expected) {
  KeldaUpdaterPrefs prefs;
  fuzz::Check(prefs.ReloadIfChanged(), "a readable file is read");
  const std::vector<std::string> others = Others(prefs);
  const std::string contents = fuzz::Contents(Path());
  const bool written = write(prefs);
  fuzz::Check(written || fuzz::Contents(Path()) == contents, "a refusal leaves the file");
  fuzz::Check(prefs.Release(), "the lock is released");
  KeldaUpdaterPrefs reader;
  fuzz::Check(!written || read(reader) == expected, "what was written reads back");
  // A carriage return of another setting's text is a line feed from now on.
  if (contents.find("&#") == std::string::npos) {
    fuzz::Check(Others(reader) == others, "the other settings stay");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  std::string text = input.Field();
  const std::int32_t number = input.NumberField();
  const std::string key = input.Field();
  const std::string contents = input.Rest();
  std::replace(text.begin(), text.end(), '\r', '\n');
  fuzz::Put(Path(), contents);
  { const KeldaUpdaterPrefs prefs; }
  fuzz::Check(fuzz::Contents(Path()) == contents, "reading without the lock changes nothing");

  CheckWriting([&](KeldaUpdaterPrefs& prefs) { return prefs.Launch.Set(text); },
               [](const KeldaUpdaterPrefs& prefs) { return Text(prefs.Launch); }, text);
  CheckWriting([&](KeldaUpdaterPrefs& prefs) { return prefs.AutoCheckFreq.Set(number); },
               [](const KeldaUpdaterPrefs& prefs) { return Text(prefs.AutoCheckFreq); },
               std::to_string(number));
  const std::map<std::string, std::string> messages = {{key, text}};
  CheckWriting([&](KeldaUpdaterPrefs& prefs) { return prefs.NotificationMessage.Write(messages); },
               [](const KeldaUpdaterPrefs& prefs) { return Text(prefs.NotificationMessage); },
               key + "\x1F" + text + "\x1F");
  return 0;
}
