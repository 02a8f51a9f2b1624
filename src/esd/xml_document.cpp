#include "esd/xml_document.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <iterator>
#include <new>
#include <stdexcept>
#include <utility>

namespace esd {

namespace {

constexpr std::size_t kUsualChildren = 2;  // an application's

XMLNodePointer NewNode(std::string_view label, bool isDocument, NodeMemory* memory) {
  // Not the default resource, which the host may have set for purposes of its own.
  if (memory == nullptr) {
    return boost::make_shared<XMLDocumentNode>(label, isDocument, std::pmr::new_delete_resource());
  }
  return boost::allocate_shared<XMLDocumentNode>(NodeAllocator<XMLDocumentNode>(memory), label,
                                                 isDocument, memory->Resource());
}

}  // namespace

XMLNodePointer XMLDocumentNode::NewDocument(NodeMemory* memory) {
  XMLNodePointer document = NewNode("1.0", true, memory);
  document->SetAttribute("encoding", "UTF-8");
  return document;
}

XMLNodePointer XMLDocumentNode::NewElement(std::string_view name, NodeMemory* memory) {
  return NewNode(name, false, memory);
}

// Takes the tree apart level by level, since a host's thread may have a small stack. Without memory
// for that the children go one inside the other.
XMLDocumentNode::~XMLDocumentNode() {
  Children doomed = std::move(children_);
  while (!doomed.empty()) {
    const XMLNodePointer node = std::move(doomed.back());
    doomed.pop_back();
    if (!node.unique() || node->children_.empty()) continue;
    try {
      doomed.reserve(doomed.size() + node->children_.size());
    } catch (const std::bad_alloc&) {
      continue;
    }
    std::move(node->children_.begin(), node->children_.end(), std::back_inserter(doomed));
    node->children_.clear();
  }
}

std::optional<std::string_view> XMLDocumentNode::GetAttribute(std::string_view name) const {
  for (const auto& [attributeName, value] : attributes_) {
    if (attributeName == name) return value;
  }
  return std::nullopt;
}

bool XMLDocumentNode::AttributeIs(std::string_view name, std::string_view value) const {
  return GetAttribute(name) == value;
}

void XMLDocumentNode::SetAttribute(std::string_view name, std::string_view value) {
  if (isDocument_ && name == "version") {
    label_ = value;
  } else {
    const auto at = std::lower_bound(
        attributes_.begin(), attributes_.end(), name,
        [](const auto& attribute, std::string_view wanted) { return attribute.first < wanted; });
    if (at != attributes_.end() && at->first == name) {
      at->second = value;
    } else {
      attributes_.emplace(at, name, value);
    }
  }
}

// One by one, a hostile order of many would move them all for each.
void XMLDocumentNode::SetAttributes(const char** namesAndValues) {
  for (; *namesAndValues != nullptr; namesAndValues += 2) {
    attributes_.emplace_back(namesAndValues[0], namesAndValues[1]);
  }
  std::sort(attributes_.begin(), attributes_.end());
}

void XMLDocumentNode::AddChild(XMLNodePointer child) {
  if (!child) return;
  if (children_.empty()) children_.reserve(kUsualChildren);
  children_.push_back(std::move(child));
}

bool XMLDocumentNode::RemoveChild(const XMLNodePointer& child) {
  const auto found = std::find(children_.begin(), children_.end(), child);
  if (found == children_.end()) return false;
  children_.erase(found);
  return true;
}

const XMLDocumentNode* FindUniqueChild(const XMLDocumentNode* node, std::string_view name) {
  if (node == nullptr) return nullptr;
  const XMLDocumentNode* found = nullptr;
  const NameIs matches(name);
  for (const XMLNodePointer& child : node->GetChildren()) {
    if (!matches(*child)) continue;
    if (found != nullptr) return nullptr;
    found = child.get();
  }
  return found;
}

XMLNodePointer FindChild(const XMLNodePointer& node, std::string_view name) {
  if (!node) return {};
  const NameIs matches(name);
  for (const XMLNodePointer& child : node->GetChildren()) {
    if (matches(*child)) return child;
  }
  return {};
}

XMLNodePointer FindOrCreateChild(const XMLNodePointer& node, std::string_view name) {
  XMLNodePointer child = FindChild(node, name);
  if (!child && node) {
    child = XMLDocumentNode::NewElement(name);
    node->AddChild(child);
  }
  return child;
}

XMLNodePointer CopyNode(const XMLNodePointer& node) {
  if (!node) return {};
  XMLNodePointer copy = NewNode(node->label_, node->isDocument_, nullptr);
  copy->attributes_ = node->attributes_;
  copy->text_ = node->text_;
  return copy;
}

XMLNodePointer DeepCopyNode(const XMLNodePointer& node, const XMLNodePointer& newParent) {
  XMLNodePointer copy = CopyNode(node);
  if (!copy) throw std::runtime_error("Unable to duplicate node!");
  if (newParent) newParent->AddChild(copy);
  for (const XMLNodePointer& child : node->GetChildren()) DeepCopyNode(child, copy);
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
