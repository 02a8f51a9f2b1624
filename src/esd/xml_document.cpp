#include "esd/xml_document.h"

#include <boost/make_shared.hpp>
#include <cstring>
#include <new>
#include <stdexcept>
#include <type_traits>

namespace esd {

namespace {

// An application's: its name and its path. A root with thousands of them doubles its list as it
// grows.
constexpr std::uint32_t kUsualChildren = 2;

bool PrecedesByName(const Attribute& attribute, std::string_view name) {
  return attribute.name < name;
}

}  // namespace

XMLDocumentNode::XMLDocumentNode(std::string_view label, bool isDocument, NodeMemory& memory)
    : memory_(&memory), isDocument_(isDocument) {
  StoreLabel(memory.KeepName(label));
}

XMLDocumentNode* XMLDocumentNode::New(std::string_view label, bool isDocument, NodeMemory& memory) {
  static_assert(std::is_trivially_destructible_v<XMLDocumentNode>, "nobody destroys nodes");
  return new (memory.Allocate<XMLDocumentNode>(1)) XMLDocumentNode(label, isDocument, memory);
}

// The pointer shares the memory's count, whichever node it leads to: whoever keeps one keeps all.
XMLNodePointer XMLDocumentNode::NewTree(std::string_view label, bool isDocument) {
  const auto memory = boost::make_shared<NodeMemory>();
  return {memory, New(label, isDocument, *memory)};
}

XMLNodePointer XMLDocumentNode::NewDocument() {
  XMLNodePointer document = NewTree("1.0", true);
  document->SetAttribute("encoding", "UTF-8");
  return document;
}

XMLNodePointer XMLDocumentNode::NewElement(std::string_view name) { return NewTree(name, false); }

void XMLDocumentNode::StoreLabel(std::string_view kept) {
  label_ = kept.data();
  labelSize_ = static_cast<std::uint32_t>(kept.size());
}

void XMLDocumentNode::StoreText(std::string_view kept) {
  text_ = kept.data();
  textSize_ = static_cast<std::uint32_t>(kept.size());
}

std::optional<std::string_view> XMLDocumentNode::GetAttribute(std::string_view name) const {
  for (const Attribute& attribute : GetAttributes()) {
    if (attribute.name == name) return attribute.value;
  }
  return std::nullopt;
}

bool XMLDocumentNode::AttributeIs(std::string_view name, std::string_view value) const {
  return GetAttribute(name) == value;
}

void XMLDocumentNode::SetAttribute(std::string_view name, std::string_view value) {
  value = memory_->Keep(value);
  if (isDocument_ && name == "version") {
    StoreLabel(value);
    return;
  }
  Attribute* const end = attributes_ + attributeCount_;
  Attribute* const at = std::lower_bound(attributes_, end, name, PrecedesByName);
  if (at != end && at->name == name) {
    at->value = value;
    return;
  }
  auto* const enlarged = memory_->Allocate<Attribute>(attributeCount_ + 1);
  Attribute* const place = std::uninitialized_copy(attributes_, at, enlarged);
  new (place) Attribute{memory_->KeepName(name), value};
  std::uninitialized_copy(at, end, place + 1);
  attributes_ = enlarged;
  ++attributeCount_;
}

// One by one, a hostile order of many would move them all for each.
void XMLDocumentNode::SetAttributes(const char** namesAndValues) {
  std::size_t count = 0;
  while (namesAndValues[2 * count] != nullptr) ++count;
  if (count == 0) return;
  attributes_ = memory_->Allocate<Attribute>(count);
  for (; attributeCount_ < count; ++attributeCount_, namesAndValues += 2) {
    new (attributes_ + attributeCount_)
        Attribute{memory_->KeepName(namesAndValues[0]), memory_->Keep(namesAndValues[1])};
  }
  std::sort(attributes_, attributes_ + count,
            [](const Attribute& one, const Attribute& other) { return one.name < other.name; });
}

void XMLDocumentNode::AppendChild(XMLDocumentNode* child) {
  if (childCount_ == childCapacity_) {
    const std::uint32_t capacity = childCapacity_ == 0 ? kUsualChildren : childCapacity_ * 2;
    auto** const enlarged = memory_->Allocate<XMLDocumentNode*>(capacity);
    std::copy_n(children_, childCount_, enlarged);
    children_ = enlarged;
    childCapacity_ = capacity;
  }
  children_[childCount_++] = child;
}

void XMLDocumentNode::AddChild(const XMLNodePointer& child) {
  if (!child) return;
  AppendChild(child.get());
  // Another document's node, with all that its document holds.
  if (child->memory_ != memory_) memory_->KeepOwner(child);
}

// An entry of our lists takes little more than twice its text, in nodes and copies of its texts.
void XMLDocumentNode::ExpectText(std::size_t size) { memory_->Expect(size * 5 / 2); }

XMLDocumentNode& XMLDocumentNode::AppendElement(std::string_view name) {
  XMLDocumentNode* const child = New(name, false, *memory_);
  AppendChild(child);
  return *child;
}

bool XMLDocumentNode::RemoveChild(const XMLNodePointer& child) {
  XMLDocumentNode** const end = children_ + childCount_;
  XMLDocumentNode** const found = std::find(children_, end, child.get());
  if (found == end) return false;
  std::copy(found + 1, end, found);
  --childCount_;
  return true;
}

void XMLDocumentNode::CopyContent(const XMLDocumentNode& from) {
  SetText(from.GetText());
  attributes_ = memory_->Allocate<Attribute>(from.attributeCount_);
  attributeCount_ = 0;
  for (const Attribute& attribute : from.GetAttributes()) {
    new (attributes_ + attributeCount_++)
        Attribute{memory_->KeepName(attribute.name), memory_->Keep(attribute.value)};
  }
}

void XMLDocumentNode::CopyTree(const XMLDocumentNode& from) {
  CopyContent(from);
  for (const XMLDocumentNode* const child : from.GetChildren()) {
    AppendElement(child->GetName()).CopyTree(*child);
  }
}

const XMLDocumentNode* FindUniqueChild(const XMLDocumentNode* node, const NameIs& matches) {
  if (node == nullptr) return nullptr;
  const XMLDocumentNode* found = nullptr;
  for (const XMLDocumentNode* const child : node->GetChildren()) {
    if (!matches(*child)) continue;
    if (found != nullptr) return nullptr;
    found = child;
  }
  return found;
}

XMLNodePointer FindChild(const XMLNodePointer& node, std::string_view name) {
  if (!node) return {};
  const NameIs matches(name);
  for (XMLDocumentNode* const child : node->GetChildren()) {
    if (matches(*child)) return {node, child};
  }
  return {};
}

XMLNodePointer FindOrCreateChild(const XMLNodePointer& node, std::string_view name) {
  XMLNodePointer child = FindChild(node, name);
  return child || !node ? child : XMLNodePointer(node, &node->AppendElement(name));
}

XMLNodePointer CopyNode(const XMLNodePointer& node) {
  if (!node) return {};
  XMLNodePointer copy = XMLDocumentNode::NewTree(node->Label(), node->isDocument_);
  copy->CopyContent(*node);
  return copy;
}

XMLNodePointer DeepCopyNode(const XMLNodePointer& node, const XMLNodePointer& newParent) {
  if (!node) throw std::runtime_error("Unable to duplicate node!");
  XMLNodePointer copy =
      newParent ? XMLNodePointer(newParent, XMLDocumentNode::New(node->Label(), node->isDocument_,
                                                                 *newParent->memory_))
                : XMLDocumentNode::NewTree(node->Label(), node->isDocument_);
  copy->CopyTree(*node);
  if (newParent) newParent->AddChild(copy);
  return copy;
}

XMLNodePointer CloneNode(const XMLNodePointer& node) {
  try {
    return DeepCopyNode(node, {});
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace esd
