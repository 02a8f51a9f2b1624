// The common base of the records in our XML files.
#ifndef KXL_ESD_XML_BOUND_OBJECT_H
#define KXL_ESD_XML_BOUND_OBJECT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "esd/number_text.h"
#include "esd/xml_document.h"

namespace kxl {

// A handle on one element of a document: it keeps no data of its own, its fields are the element's
// attributes and the texts of its children. Copies of a handle stand for the same element.
//
// Record is the derived class; its static ElementName() names the element. Getters answer false,
// and leave their output as it was, when the field is missing or the record is bound to no element;
// setters answer false only in the latter case.
template <typename Record>
class XMLBoundObject {
 public:
  // Bound to a new element, which belongs to no document until it is added to one.
  XMLBoundObject() : node_(esd::XMLDocumentNode::NewElement(Record::ElementName())) {}
  // Bound to the given element, or to none.
  explicit XMLBoundObject(esd::XMLNodePointer node) : node_(std::move(node)) {}

  const esd::XMLNodePointer& Node() const { return node_; }

 protected:
  bool GetAttribute(std::string_view name, std::string& out) const {
    const auto value = node_ ? node_->GetAttribute(name) : std::nullopt;
    if (value) out = *value;
    return value.has_value();
  }

  bool SetAttribute(std::string_view name, std::string_view value) {
    if (!node_) return false;
    node_->SetAttribute(name, value);
    return true;
  }

  // Integers are decimal text; false also for a text that is none.
  bool GetAttribute(std::string_view name, std::int32_t& out) const {
    const auto value = node_ ? node_->GetAttribute(name) : std::nullopt;
    return value && esd::ParseInteger(*value, out);
  }

  bool SetAttribute(std::string_view name, std::int32_t value) {
    return SetAttribute(name, std::string_view(std::to_string(value)));
  }

  // The text of the only child of that name; two of a name count as none.
  bool GetChildText(std::string_view name, std::string& out) const {
    const esd::XMLDocumentNode* child = esd::FindUniqueChild(node_.get(), esd::NameIs(name));
    if (child == nullptr) return false;
    out = child->GetText();
    return true;
  }

  // Replaces the text of the first child of that name, which is made when there is none.
  bool SetChildText(std::string_view name, std::string_view text) {
    if (!node_) return false;
    esd::FindOrCreateChild(node_, name)->SetText(text);
    return true;
  }

 private:
  esd::XMLNodePointer node_;
};

}  // namespace kxl

#endif  // KXL_ESD_XML_BOUND_OBJECT_H
