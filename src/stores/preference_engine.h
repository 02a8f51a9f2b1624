// Preference files: an XML document with one child of the root for each stored setting.
//
//   <?xml version="1.0" encoding="UTF-8" ?>
//   <Root>
//   <Single>value</Single>
//   <Map>
//   <MapPrefEntry MapPrefKey="key">value</MapPrefEntry>
//   </Map>
//   </Root>
//
// A boolean's text is 1 or 0, an integer's decimal, both with white space around them at the most.
// A setting whose element is missing or empty has its default. Unknown settings stay in the file.
// The file is rewritten in place: a reader without the lock may meet it half written, and a writer
// that dies in the middle leaves the defaults.
#ifndef KXL_STORES_PREFERENCE_ENGINE_H
#define KXL_STORES_PREFERENCE_ENGINE_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "esd/resource_locker.h"
#include "esd/xml_document.h"
#include "platform/file_system.h"

namespace esd {

// The document of a preference file. Every operation takes the lock, if a policy is set, unless it
// is held already; one that does not get it fails and changes nothing.
class PrefsWriter {
 public:
  explicit PrefsWriter(std::string rootName);
  PrefsWriter(const PrefsWriter&) = delete;
  PrefsWriter& operator=(const PrefsWriter&) = delete;

  // The policy is the caller's and has to outlive the writer; null for none.
  void SetLockPolicy(LockPolicyInterface* policy) { policy_ = policy; }

  // Reads the file at path. A missing or damaged one leaves an empty document; under a lock, a
  // damaged one is removed (without one, a writer may be in the middle of it). One that cannot be
  // opened or read does so too, but is never written or removed: it may hold anything. Throws
  // std::runtime_error "Prefs file unable to lock file for reading!" for an empty path.
  void Load(const std::string& path);

  // Takes the lock and keeps it, and reads the file again when it was changed or removed since, if
  // that shows in its stamp, or else in its content; Release lets it go. False, without the
  // lock, when that was not to be had, or when the file was opened and then could not be read,
  // which IsUnreadable tells. A file that cannot be opened counts as one that is not there.
  bool ReloadIfChanged();
  bool IsUnreadable() const { return isUnreadable_; }
  bool Release();

  // What is set between these two is written once, by the second one, which answers as the setting
  // would: readers without the lock meet all of it or nothing. For as long as the lock is held.
  void BeginChanges() { isChanging_ = true; }
  bool EndChanges();

  // The text of a setting, empty when it is missing. False when the lock was not to be had.
  bool GetText(std::string_view key, std::string& text) const;
  // Sets the text and writes the file.
  bool SetText(std::string_view key, std::string_view text);

  // The element of a map setting, null when it is missing.
  bool GetElement(std::string_view key, XMLNodePointer& element) const;
  // Replaces the element of that name and writes the file. False also for one that would read back
  // as another.
  bool ReplaceElement(const XMLNodePointer& element);

 private:
  void Empty();
  bool Lock();
  bool HoldsWhatWasRead() const;
  bool Write();
  bool WriteFile();

  XMLNodePointer document_;
  XMLNodePointer root_;
  std::string path_;
  std::string rootName_;
  LockPolicyInterface* policy_ = nullptr;
  kxl::ModificationStamp stamp_;  // zero: nothing was read
  bool isSettled_ = false;        // the stamp would tell of any later change
  std::string fresh_;             // what was read or written when it would not
  bool isChanging_ = false;
  bool isChanged_ = false;     // since BeginChanges
  bool isUnreadable_ = false;  // the last reload has failed for the file's sake
  bool isUnknown_ = false;     // there is a file, and nobody knows what it holds
};

bool ParseValue(std::string_view text, bool& value);
bool ParseValue(std::string_view text, std::int32_t& value);
bool ParseValue(std::string_view text, std::string& value);
std::string FormatValue(bool value);
std::string FormatValue(std::int32_t value);
std::string FormatValue(const std::string& value);

// One setting: bool, std::int32_t or std::string.
template <typename T>
class BasicPref {
 public:
  BasicPref(PrefsWriter& writer, std::string_view key, T defaultValue)
      : writer_(writer), key_(key), default_(std::move(defaultValue)) {}

  // False, with value as it was, when the text does not parse or the lock was not to be had.
  bool Get(T& value) const {
    std::string text;
    if (!writer_.GetText(key_, text)) return false;
    if (!text.empty()) return ParseValue(text, value);
    value = default_;
    return true;
  }

  // The value, or what to take for one that cannot be read.
  T GetOr(T unread) const {
    Get(unread);
    return unread;
  }

  // Writes the file. False when that fails.
  bool Set(const T& value) { return writer_.SetText(key_, FormatValue(value)); }

  bool IsDefault(const T& value) const { return value == default_; }
  std::string_view Key() const { return key_; }

 private:
  PrefsWriter& writer_;
  std::string_view key_;
  T default_;
};

// A setting of many values by key, read and written as a whole.
template <typename V>
class MapPref {
 public:
  MapPref(PrefsWriter& writer, std::string_view key) : writer_(writer), key_(key) {}

  // Of several entries of one key the last counts. False, with an empty map, when an entry has no
  // key or no value that parses, or the lock was not to be had.
  bool Read(std::map<std::string, V>& values) const {
    values.clear();
    XMLNodePointer element;
    if (!writer_.GetElement(key_, element)) return false;
    if (!element) return true;
    std::map<std::string, V> read;
    for (const XMLDocumentNode* const entry : element->GetChildren()) {
      const auto key = entry->GetAttribute("MapPrefKey");
      V value{};
      if (!key || !ParseValue(entry->GetText(), value)) return false;
      read[std::string(*key)] = std::move(value);
    }
    values = std::move(read);
    return true;
  }

  bool Write(const std::map<std::string, V>& values) {
    const XMLNodePointer element = XMLDocumentNode::NewElement(key_);
    for (const auto& [key, value] : values) {
      XMLDocumentNode& entry = element->AppendElement("MapPrefEntry");
      entry.SetAttribute("MapPrefKey", key);
      entry.SetText(FormatValue(value));
    }
    return writer_.ReplaceElement(element);
  }

  std::string_view Key() const { return key_; }

 private:
  PrefsWriter& writer_;
  std::string_view key_;
};

}  // namespace esd

#endif  // KXL_STORES_PREFERENCE_ENGINE_H
