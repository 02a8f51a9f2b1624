#include "kxl/unwritable.h"

#include "esd/xml_writer.h"

namespace tool {

namespace {

void PrintStart(const esd::XMLDocumentNode& node, std::string& out) {
  out.append("<").append(node.GetName());
  for (const esd::Attribute& attribute : node.GetAttributes()) {
    out.append(" ").append(attribute.name).append("=\"");
    esd::EscapeText(attribute.value, out);
    out += '"';
  }
  out += '>';
  esd::EscapeText(node.GetText(), out);
}

void Print(const esd::XMLDocumentNode& node, std::string& out) {
  PrintStart(node, out);
  for (const esd::XMLDocumentNode* const child : node.GetChildren()) Print(*child, out);
  out.append("</").append(node.GetName()).append(">\n");
}

std::string NameOf(const esd::XMLDocumentNode& entry) {
  for (const char* key : {"appID", "AppID"}) {
    if (const auto id = entry.GetAttribute(key)) return std::string(*id);
  }
  return "<" + std::string(entry.GetName()) + ">";
}

// A root whose own attributes are at fault.
bool IsRootAtFault(const esd::XMLDocumentNode& root) {
  const esd::XMLNodePointer alone = esd::XMLDocumentNode::NewElement(root.GetName());
  for (const esd::Attribute& attribute : root.GetAttributes()) {
    alone->SetAttribute(attribute.name, attribute.value);
  }
  return !esd::ReadsBack(*alone);
}

}  // namespace

std::vector<std::string> UnwritableEntries(const esd::XMLNodePointer& document) {
  std::vector<std::string> names;
  if (esd::ReadsBack(*document)) return names;
  for (const esd::XMLDocumentNode* const root : document->GetChildren()) {
    if (IsRootAtFault(*root)) names.push_back(NameOf(*root));
    for (const esd::XMLDocumentNode* const entry : root->GetChildren()) {
      if (!esd::ReadsBack(*entry)) names.push_back(NameOf(*entry));
    }
  }
  return names;
}

std::string TakeOutUnwritable(const esd::XMLNodePointer& root) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";
  PrintStart(*root, out);
  out += '\n';
  root->RemoveChildrenIf([&](const esd::XMLDocumentNode& entry) {
    if (esd::ReadsBack(entry)) return false;
    Print(entry, out);
    return true;
  });
  if (IsRootAtFault(*root)) {
    for (const esd::Attribute attribute : root->GetAttributes()) {
      root->SetAttribute(attribute.name, "");
    }
  }
  return out.append("</").append(root->GetName()).append(">\n");
}

}  // namespace tool
