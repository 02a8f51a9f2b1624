// The tree that XML files are read into and written from. Text is UTF-8.
//
// A document owns its nodes as a whole: a pointer to any of them keeps all of it, and nothing of it
// goes before the last such pointer. What the getters hand out (texts, attributes, children) is
// therefore valid as long as somebody keeps a node of the document, even when the node it came from
// has changed or was removed since; only the list of children is as it is until the node's children
// change. A new element is a document of its own until it gets a place in another one, and keeps
// its memory then too. For one thread at a time.
#ifndef KXL_ESD_XML_DOCUMENT_H
#define KXL_ESD_XML_DOCUMENT_H

#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "esd/node_memory.h"

namespace esd {

class XMLDocumentNode;
using XMLNodePointer = boost::shared_ptr<XMLDocumentNode>;

struct Attribute {
  std::string_view name;
  std::string_view value;
  bool operator==(const Attribute&) const = default;
};

// The document or one of its elements. There is no way from a child to its parent.
class XMLDocumentNode {
 public:
  // A document without children: version "1.0", encoding "UTF-8".
  static XMLNodePointer NewDocument();
  static XMLNodePointer NewElement(std::string_view name);

  XMLDocumentNode(const XMLDocumentNode&) = delete;
  XMLDocumentNode& operator=(const XMLDocumentNode&) = delete;

  bool IsDocument() const { return isDocument_; }
  std::string_view GetName() const { return isDocument_ ? std::string_view() : Label(); }
  // The XML declaration's version; empty for elements.
  std::string_view GetVersion() const { return isDocument_ ? Label() : std::string_view(); }

  // The characters between the start tag and the next tag of any kind.
  std::string_view GetText() const { return {text_, textSize_}; }
  void SetText(std::string_view text) { StoreText(memory_->Keep(text)); }
  void AppendText(std::string_view text) { StoreText(memory_->Join(GetText(), text)); }

  // Sorted by name, byte by byte.
  std::span<const Attribute> GetAttributes() const { return {attributes_, attributeCount_}; }
  std::optional<std::string_view> GetAttribute(std::string_view name) const;
  bool AttributeIs(std::string_view name, std::string_view value) const;
  // Sets or overwrites. On a document, "version" sets the declaration's version.
  void SetAttribute(std::string_view name, std::string_view value);

  // Sets all attributes of a new element: pairs of name and value up to a null, in any order but
  // each name once.
  void SetAttributes(const char** namesAndValues);

  // In document order; none is null.
  std::span<XMLDocumentNode* const> GetChildren() const { return {children_, childCount_}; }
  void AddChild(const XMLNodePointer& child);  // ignores a null one
  bool RemoveChild(const XMLNodePointer& child);

  // How many different names the document's elements and attributes have had so far.
  std::size_t NameCount() const { return memory_->NameCount(); }

  // Tells the document that as much text is about to be read into it, in bytes.
  void ExpectText(std::size_t size);

  // Adds a new element of that name behind the other children.
  XMLDocumentNode& AppendElement(std::string_view name);

  // Removes the children that the predicate accepts, keeps the order of the others and answers how
  // many were removed.
  template <typename Predicate>
  std::size_t RemoveChildrenIf(Predicate predicate) {
    XMLDocumentNode** const end =
        std::remove_if(children_, children_ + childCount_,
                       [&](XMLDocumentNode* child) { return predicate(*child); });
    const auto kept = static_cast<std::uint32_t>(end - children_);
    const std::size_t removed = childCount_ - kept;
    childCount_ = kept;
    return removed;
  }

 private:
  friend XMLNodePointer CopyNode(const XMLNodePointer& node);
  friend XMLNodePointer DeepCopyNode(const XMLNodePointer& node, const XMLNodePointer& newParent);

  XMLDocumentNode(std::string_view label, bool isDocument, NodeMemory& memory);
  static XMLDocumentNode* New(std::string_view label, bool isDocument, NodeMemory& memory);
  static XMLNodePointer NewTree(std::string_view label, bool isDocument);

  std::string_view Label() const { return {label_, labelSize_}; }
  void StoreLabel(std::string_view kept);
  void StoreText(std::string_view kept);
  void AppendChild(XMLDocumentNode* child);
  void CopyContent(const XMLDocumentNode& from);
  void CopyTree(const XMLDocumentNode& from);

  // A node is 64 bytes, one line of a processor's cache: lists of thousands of applications are
  // walked more often than anything else. So sizes are kept in 32 bits, which no file of ours and
  // no text of a host exceeds.
  const char* label_ = nullptr;  // an element's name, a document's version
  const char* text_ = nullptr;
  Attribute* attributes_ = nullptr;
  XMLDocumentNode** children_ = nullptr;
  NodeMemory* memory_;
  std::uint32_t labelSize_ = 0;
  std::uint32_t textSize_ = 0;
  std::uint32_t attributeCount_ = 0;
  std::uint32_t childCount_ = 0;
  std::uint32_t childCapacity_ = 0;
  bool isDocument_;
};

// Accepts nodes of that name. No node whose name is empty or holds white space is ever accepted.
class NameIs {
 public:
  explicit constexpr NameIs(std::string_view name) : name_(name) {
    for (const char character : name) {
      if (character == ' ' || (character >= '\t' && character <= '\r')) name_ = {};
    }
  }
  bool operator()(const XMLDocumentNode& node) const {
    return !name_.empty() && node.GetName() == name_;
  }

 private:
  std::string_view name_;  // empty: none
};

// An ordered collection of nodes that were found.
class SearchResult {
 public:
  SearchResult() = default;
  explicit SearchResult(const XMLNodePointer& node) : nodes_{node} {}

  bool IsEmpty() const { return nodes_.empty(); }
  const XMLNodePointer& First() const { return nodes_.front(); }
  auto begin() const { return nodes_.begin(); }
  auto end() const { return nodes_.end(); }

  // The children, one level down, of all these nodes that the predicate accepts, in order.
  template <typename Predicate>
  SearchResult FindChildren(Predicate predicate) const {
    SearchResult found;
    for (const XMLNodePointer& node : nodes_) {
      for (XMLDocumentNode* const child : node->GetChildren()) {
        if (predicate(*child)) found.nodes_.emplace_back(node, child);
      }
    }
    return found;
  }

 private:
  std::vector<XMLNodePointer> nodes_;
};

// The only child of that name; null when there is none or more than one, or no node.
const XMLDocumentNode* FindUniqueChild(const XMLDocumentNode* node, const NameIs& matches);

// The first child of that name, null without one; FindOrCreateChild makes one then and adds it.
// Both answer null for a null node.
XMLNodePointer FindChild(const XMLNodePointer& node, std::string_view name);
XMLNodePointer FindOrCreateChild(const XMLNodePointer& node, std::string_view name);

// A node with the same name, attributes and text, without children; null for null.
XMLNodePointer CopyNode(const XMLNodePointer& node);

// A copy of the node and everything below it, added to newParent, and in its document, unless that
// is null. Throws std::runtime_error "Unable to duplicate node!" for a null node.
XMLNodePointer DeepCopyNode(const XMLNodePointer& node, const XMLNodePointer& newParent);

// As DeepCopyNode without a parent, but null where that throws.
XMLNodePointer CloneNode(const XMLNodePointer& node);

}  // namespace esd

#endif  // KXL_ESD_XML_DOCUMENT_H
