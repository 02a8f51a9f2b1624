// The tree that XML files are read into and written from. Text is UTF-8.
#ifndef KXL_ESD_XML_DOCUMENT_H
#define KXL_ESD_XML_DOCUMENT_H

#include <boost/shared_ptr.hpp>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "esd/node_memory.h"

namespace esd {

class XMLDocumentNode;
using XMLNodePointer = boost::shared_ptr<XMLDocumentNode>;

// The document or one of its elements. A child belongs to its parent and to whoever else holds a
// pointer to it; there is no way from a child to its parent.
class XMLDocumentNode {
 public:
  using Text = std::pmr::string;
  using Attributes = std::pmr::vector<std::pair<Text, Text>>;
  using Children = std::pmr::vector<XMLNodePointer>;

  // A document without children: version "1.0", encoding "UTF-8".
  static XMLNodePointer NewDocument(NodeMemory* memory = nullptr);  // null: the heap
  static XMLNodePointer NewElement(std::string_view name, NodeMemory* memory = nullptr);

  XMLDocumentNode(std::string_view label, bool isDocument, std::pmr::memory_resource* memory)
      : attributes_(memory),
        children_(memory),
        text_(memory),
        label_(label, memory),
        isDocument_(isDocument) {}
  ~XMLDocumentNode();
  XMLDocumentNode(const XMLDocumentNode&) = delete;
  XMLDocumentNode& operator=(const XMLDocumentNode&) = delete;

  bool IsDocument() const { return isDocument_; }
  // This and what the other getters answer is valid until the node changes.
  std::string_view GetName() const { return isDocument_ ? std::string_view() : label_; }
  // The XML declaration's version; empty for elements.
  std::string_view GetVersion() const { return isDocument_ ? label_ : std::string_view(); }

  // The characters between the start tag and the next tag of any kind.
  std::string_view GetText() const { return text_; }
  void SetText(std::string_view text) { text_ = text; }
  void AppendText(std::string_view text) { text_ += text; }

  // Sorted by name, byte by byte.
  const Attributes& GetAttributes() const { return attributes_; }
  std::optional<std::string_view> GetAttribute(std::string_view name) const;
  bool AttributeIs(std::string_view name, std::string_view value) const;
  // Sets or overwrites. On a document, "version" sets the declaration's version.
  void SetAttribute(std::string_view name, std::string_view value);

  // Sets all attributes of a new element: pairs of name and value up to a null, in any order but
  // each name once.
  void SetAttributes(const char** namesAndValues);

  // In document order.
  const Children& GetChildren() const { return children_; }
  void AddChild(XMLNodePointer child);  // ignores a null one
  bool RemoveChild(const XMLNodePointer& child);

  // Removes the children that the predicate accepts, keeps the order of the others and answers how
  // many were removed.
  template <typename Predicate>
  std::size_t RemoveChildrenIf(Predicate predicate) {
    return std::erase_if(children_, [&](const XMLNodePointer& child) { return predicate(*child); });
  }

 private:
  friend XMLNodePointer CopyNode(const XMLNodePointer& node);

  Attributes attributes_;
  Children children_;
  Text text_;
  Text label_;  // an element's name, a document's version
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
      for (const XMLNodePointer& child : node->GetChildren()) {
        if (predicate(*child)) found.nodes_.push_back(child);
      }
    }
    return found;
  }

 private:
  std::vector<XMLNodePointer> nodes_;
};

// The only child of that name; null when there is none or more than one, or no node.
const XMLDocumentNode* FindUniqueChild(const XMLDocumentNode* node, std::string_view name);

// The first child of that name, null without one; FindOrCreateChild makes one then and adds it.
// Both answer null for a null node.
XMLNodePointer FindChild(const XMLNodePointer& node, std::string_view name);
XMLNodePointer FindOrCreateChild(const XMLNodePointer& node, std::string_view name);

// A node with the same name, attributes and text, without children; null for null.
XMLNodePointer CopyNode(const XMLNodePointer& node);

// A copy of the node and everything below it, added to newParent unless that is null. Throws
// std::runtime_error "Unable to duplicate node!" for a null node.
XMLNodePointer DeepCopyNode(const XMLNodePointer& node, const XMLNodePointer& newParent);

// As DeepCopyNode without a parent, but null where that throws.
XMLNodePointer CloneNode(const XMLNodePointer& node);

}  // namespace esd

#endif  // KXL_ESD_XML_DOCUMENT_H
