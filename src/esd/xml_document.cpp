#include "esd/xml_document.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <iterator>
#include <new>
#include <stdexcept>
#include <utility>

namespace esd {

XMLNodePointer XMLDocumentNode::NewDocument() {
  XMLNodePointer document = boost::make_shared<XMLDocumentNode>(std::string_view(), true);
  document->SetAttribute("version", "1.0");
  document->SetAttribute("encoding", "UTF-8");
  return document;
}

XMLNodePointer XMLDocumentNode::NewElement(std::string_view name) {
  return boost::make_shared<XMLDocumentNode>(name, false);
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

const std::string* XMLDocumentNode::GetAttribute(std::string_view name) const {
  for (const auto& [attributeName, value] : attributes_) {
    if (attributeName == name) return &value;
  }
  return nullptr;
}

bool XMLDocumentNode::AttributeIs(std::string_view name, std::string_view value) const {
  const std::string* attribute = GetAttribute(name);
  return attribute != nullptr && *attribute == value;
}

void XMLDocumentNode::SetAttribute(std::string_view name, std::string_view value) {
  if (isDocument_ && name == "version") {
    version_ = value;
  } else {
    attributes_[std::string(name)] = value;
  }
}

// One by one, a hostile order of many would move them all for each.
void XMLDocumentNode::SetAttributes(const char** namesAndValues) {
  std::vector<std::pair<std::string, std::string>> attributes;
  for (; *namesAndValues != nullptr; namesAndValues += 2) {
    attributes.emplace_back(namesAndValues[0], namesAndValues[1]);
  }
  attributes_.insert(attributes.begin(), attributes.end());
}

void XMLDocumentNode::AddChild(const XMLNodePointer& child) {
  if (child) children_.push_back(child);
}

bool XMLDocumentNode::RemoveChild(const XMLNodePointer& child) {
  const auto found = std::find(children_.begin(), children_.end(), child);
  if (found == children_.end()) return false;
  children_.erase(found);
  return true;
}

bool NameIs::operator()(const XMLDocumentNode& node) const {
  return !name_.empty() && node.GetName() == name_ &&
         name_.find_first_of(" \t\n\v\f\r") == std::string_view::npos;
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
  XMLNodePointer copy = boost::make_shared<XMLDocumentNode>(node->name_, node->isDocument_);
  copy->attributes_ = node->attributes_;
  copy->text_ = node->text_;
  copy->version_ = node->version_;
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
