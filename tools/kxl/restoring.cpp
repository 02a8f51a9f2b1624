#include "kxl/restoring.h"

#include <sstream>

#include "esd/xml_parser.h"
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

enum class PutBack { kAdded, kListed, kRefused };

PutBack Put(kxl::KeldaUpdaterRegistrationManager& list, const esd::XMLNodePointer& element) {
  const kxl::KeldaUpdaterRegisteredApp entry(element);
  kxl::KeldaUpdaterRegisteredApp listed{esd::XMLNodePointer()};
  std::string id;
  if (!entry.GetAppId(id)) return PutBack::kRefused;
  if (list.Find(id, listed)) return PutBack::kListed;
  return list.Register(entry) == kxl::RegisterResult::kAdded ? PutBack::kAdded : PutBack::kRefused;
}

PutBack Put(kxl::KeldaUpdaterMissingCompsManager& list, const esd::XMLNodePointer& element) {
  const kxl::KeldaUpdaterMissingCompsApp entry(element);
  kxl::KeldaUpdaterMissingCompsApp listed{esd::XMLNodePointer()};
  std::string id;
  if (!entry.GetAppID(id)) return PutBack::kRefused;
  if (list.Find(id, listed)) return PutBack::kListed;
  return list.Add(entry) == kxl::AddResult::kAdded ? PutBack::kAdded : PutBack::kRefused;
}

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
Mended Restore(Output& output, const std::string& path, const std::string& aside) {
  std::string text;
  std::string why = WhyNotToTakeOver(path, List::ElementName());
  if (!why.empty()) return Mended::Refused(why);
  if (!ReadSetAside(aside, text)) return false;
  List list;
  if (IsRoot()) list.RefuseLinks();
  std::size_t added = 0;
  std::size_t lost = 0;
  const auto elements = ReadableElements(text, Entry::ElementName(), lost);
  for (const esd::XMLNodePointer& element : elements) {
    const PutBack result = Put(list, element);
    added += result == PutBack::kAdded ? 1 : 0;
    lost += result == PutBack::kRefused ? 1 : 0;
  }
  const bool isRemoved = lost == 0 && !elements.empty() && kxl::DeleteFile(aside);
  output.Row(
      {{"restored", added}, {"readable", elements.size()}, {"path", aside}, {"removed", isRemoved}},
      {aside, std::to_string(added) + " of " + std::to_string(elements.size()) +
                  " readable entries put back, the rest was listed already or is refused" +
                  (isRemoved ? "; removed" : "")});
  return true;
}

template <typename List, typename Entry>
void RestoreIn(Output& output, const std::string& path) {
  if (path.empty()) return;
  for (const std::string& aside : SetAsideFor(path)) {
    if (kxl::IsFolder(aside)) continue;
    const Mended restored =
        RepairIn(kxl::ParentPath(path), [&] { return Restore<List, Entry>(output, path, aside); });
    if (restored.isDone) continue;
    output.Error(aside + (restored.reason.empty() ? " cannot be opened or read"
                                                  : " is not put back: " + restored.reason));
  }
}

}  // namespace

void RestoreSetAside(Output& output) {
  RestoreIn<kxl::KeldaUpdaterRegistrationManager, kxl::KeldaUpdaterRegisteredApp>(
      output, ApplicationsPath());
  RestoreIn<kxl::KeldaUpdaterMissingCompsManager, kxl::KeldaUpdaterMissingCompsApp>(
      output, ComponentsPath());
}

}  // namespace tool
