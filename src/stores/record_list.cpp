#include "stores/record_list.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "platform/file_system.h"

namespace kxl {

namespace {

constexpr std::uint32_t kLockWait = 2000;  // milliseconds

}  // namespace

RecordList::RecordList(Layout layout)
    : JournaledXMLLockedFile(kLockWait), layout_(std::move(layout)) {}

bool RecordList::IsComplete(const esd::XMLDocumentNode& record) const {
  return std::all_of(
      layout_.required.begin(), layout_.required.end(), [&](const esd::NameIs& isRequired) {
        const esd::XMLDocumentNode* child = esd::FindUniqueChild(&record, isRequired);
        return child != nullptr && !child->GetText().empty();
      });
}

bool RecordList::OnLoaded(const esd::XMLNodePointer& document) {
  // A file with another root, or none, is as good as an empty one; it is not written before
  // somebody has something to add.
  root_ = esd::FindOrCreateChild(document, layout_.root);
  // A second root would make a file that does not parse.
  document->RemoveChildrenIf([this](const auto& child) { return &child != root_.get(); });
  const esd::NameIs isRecord(layout_.record);
  const std::size_t pruned = root_->RemoveChildrenIf(
      [&](const auto& child) { return isRecord(child) && !IsComplete(child); });
  // At once, so that the updater does not meet them either. A user who may only read the list goes
  // on without.
  if (pruned > 0) Save();
  return true;
}

bool RecordList::SetFileMode(ESDofstream& file) { return file.SetMode(kSharedFileMode); }

bool RecordList::IsRecordOf(const esd::XMLDocumentNode& node, const std::string& appId) const {
  return node.AttributeIs(layout_.key, appId) && esd::NameIs(layout_.record)(node);
}

esd::SearchResult RecordList::Records() const {
  return esd::SearchResult(root_).FindChildren(esd::NameIs(layout_.record));
}

esd::XMLNodePointer RecordList::FirstRecord(const std::string& appId) const {
  for (esd::XMLDocumentNode* const child : root_->GetChildren()) {
    if (IsRecordOf(*child, appId)) return {root_, child};
  }
  return {};
}

std::size_t RecordList::RemoveRecords(const std::string& appId) {
  return root_->RemoveChildrenIf([&](const auto& child) { return IsRecordOf(child, appId); });
}

// Without a file there is nothing to look after: the updater and the doctor tell so by its absence.
bool RecordList::SaveOrErase() {
  return Attempt([this] { return root_->GetChildren().empty() ? Remove() : Save(); });
}

bool ChildTextIs(const esd::XMLDocumentNode& record, std::string_view name, std::string_view text) {
  const esd::XMLDocumentNode* child = esd::FindUniqueChild(&record, esd::NameIs(name));
  return child != nullptr && child->GetText() == text;
}

}  // namespace kxl
