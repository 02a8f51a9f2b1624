#include "kxl/restoring.h"

#include <functional>
#include <set>

#include "esd/xml_parser.h"
#include "esd/xml_writer.h"
#include "kxl/places.h"
#include "kxl/rights.h"
#include "kxl/set_aside.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "platform/regular_file.h"
#include "stores/missing_components.h"
#include "stores/registered_applications.h"

namespace tool {

namespace {

esd::XMLNodePointer ParseElement(const std::string& text, std::string_view name) {
  esd::ExpatDOMBuilder builder;
  if (!builder.Init() || !builder.ParseText(text)) return {};
  return esd::FindChild(builder.Document(), name);
}

// Each piece of the text from a start tag of that name to the next end tag, as far as it parses.
// damaged tells how many did not.
std::vector<esd::XMLNodePointer> ReadableElements(const std::string& text, std::string_view name,
                                                  std::size_t& damaged) {
  const std::string startTag = "<" + std::string(name) + " ";
  const std::string endTag = "</" + std::string(name) + ">";
  std::vector<esd::XMLNodePointer> elements;
  for (std::size_t start = text.find(startTag); start != std::string::npos;) {
    const std::size_t next = text.find(startTag, start + 1);
    // No further than to the next one: a file may be start tags from its beginning to its end.
    std::string piece = text.substr(start, next - start);
    const std::size_t end = piece.find(endTag);
    ++damaged;
    if (end != std::string::npos) {
      piece.resize(end + endTag.size());
      if (const esd::XMLNodePointer element = ParseElement(piece, name)) {
        elements.push_back(element);
        --damaged;
      }
    }
    start = next;
  }
  return elements;
}

// A list while entries are put back: read once and written once, however many these are.
template <typename List, typename Entry>
class RestoredList : public List {
 public:
  // Before anything is put back.
  bool Begin(const char* key) {
    key_ = key;
    if (!this->Load()) return false;
    for (const esd::XMLNodePointer& record : this->Records()) {
      if (const auto id = record->GetAttribute(key_)) listed_.emplace(*id);
    }
    return true;
  }

  // False for an entry that the list does not take; one that it holds already is left.
  bool Put(const esd::XMLNodePointer& element) {
    const auto id = element->GetAttribute(key_);
    std::string text;
    const Entry entry(element);
    if (!id || id->empty() || !entry.GetDisplayName(text) || text.empty() ||
        !entry.GetInstallPath(text) || text.empty() || !esd::ReadsBackUnchanged(*element)) {
      return false;
    }
    if (listed_.emplace(*id).second) {
      esd::DeepCopyNode(element, this->Root());
      ++added_;
    }
    return true;
  }

  std::size_t Added() const { return added_; }

  Mended End() {
    if (added_ == 0 || this->Save()) return true;
    return this->IsRefused() ? Mended::Refused("the list would be larger than any reader takes")
                             : Mended::Refused("the list cannot be written");
  }

 private:
  const char* key_ = nullptr;
  std::set<std::string, std::less<>> listed_;
  std::size_t added_ = 0;
};

// What is read here is shown to all who may read the list.
bool ReadSetAside(const std::string& path, std::string& text) {
  if (!IsRoot()) {
    const kxl::OpenedFile file =
        kxl::OpenRegularFile(path, kxl::FileAccess::kRead, kxl::Links::kRefuse);
    return file.descriptor.valid() && kxl::ReadToEnd(file.descriptor.get(), file.size, text);
  }
  const ExaminedObject object(path);
  return object.MayBeShown() && object.Read(text);
}

template <typename List, typename Entry>
Mended Restore(Output& output, const std::string& path, const std::string& aside, const char* key) {
  std::string text;
  std::string why = WhyNotToTakeOver(path, List::ElementName());
  if (!why.empty()) return Mended::Refused(why);
  if (!ReadSetAside(aside, text)) return false;
  std::size_t lost = 0;
  const auto elements = ReadableElements(text, Entry::ElementName(), lost);

  RestoredList<List, Entry> list;
  if (IsRoot()) list.RefuseLinks();
  const kxl::FileLock lock(list);
  if (!lock.IsHeld()) return Mended::Refused("somebody else holds the list's lock");
  if (!list.Begin(key)) return Mended::Refused("the list cannot be read");
  for (const esd::XMLNodePointer& element : elements) lost += list.Put(element) ? 0 : 1;
  Mended written = list.End();
  if (!written.isDone) return written;
  const bool isRemoved = lost == 0 && !elements.empty() && kxl::DeleteFile(aside);
  output.Row({{"restored", list.Added()},
              {"readable", elements.size()},
              {"path", aside},
              {"removed", isRemoved}},
             {aside, std::to_string(list.Added()) + " of " + std::to_string(elements.size()) +
                         " readable entries put back, the rest was listed already or is refused" +
                         (isRemoved ? "; removed" : "")});
  return true;
}

template <typename List, typename Entry>
void RestoreIn(Output& output, const std::string& path, const char* key) {
  if (path.empty()) return;
  for (const std::string& aside : SetAsideFor(path)) {
    if (kxl::IsFolder(aside)) continue;
    const Mended restored = RepairIn(
        kxl::ParentPath(path), [&] { return Restore<List, Entry>(output, path, aside, key); });
    if (restored.isDone) continue;
    output.Error(aside + (restored.reason.empty() ? " cannot be opened or read"
                                                  : " is not put back: " + restored.reason));
  }
}

}  // namespace

void RestoreSetAside(Output& output) {
  RestoreIn<kxl::KeldaUpdaterRegistrationManager, kxl::KeldaUpdaterRegisteredApp>(
      output, ApplicationsPath(), "appID");
  RestoreIn<kxl::KeldaUpdaterMissingCompsManager, kxl::KeldaUpdaterMissingCompsApp>(
      output, ComponentsPath(), "AppID");
}

}  // namespace tool
