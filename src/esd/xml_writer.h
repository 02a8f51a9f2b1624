// Printing a tree as XML text, in the form that every one of our files has:
//
//   <?xml version="1.0" encoding="UTF-8" ?>
//   <Root>
//   <Entry key="value">
//   <Field>text, escaped</Field>
//   </Entry>
//   </Root>
//
// Attributes stand in the order of their names. Nothing is indented, and no element is shortened to
// an empty-element tag.
#ifndef KXL_ESD_XML_WRITER_H
#define KXL_ESD_XML_WRITER_H

#include <ostream>
#include <string>
#include <string_view>

#include "esd/xml_document.h"

namespace esd {

// Prints the node and everything below it. Attribute values are written as they are: one that holds
// a double quote, '&' or '<' makes a file that does not parse. The stream's state tells of
// failures.
std::ostream& WriteNode(std::ostream& stream, const XMLDocumentNode& node);

// Appends what WriteNode prints to text, and answers whether it reads back: no attribute value
// holds one of the three characters above, nothing holds what XML cannot carry (control characters
// other than tab and line ends, malformed UTF-8, surrogates, U+FFFE and U+FFFF), and it is not
// larger, has no more elements and attributes, nor deeper ones, than the parser takes. A file that
// is written without this test may take everything else in it with it. A tab or a line end in an
// attribute passes, and reads back as a space; a carriage return in a text reads back as a line
// feed.
bool PrintNode(const XMLDocumentNode& node, std::string& text);

// The answer without the text.
bool ReadsBack(const XMLDocumentNode& node);

// The same, and no attribute value holds a tab or a line end: for what a caller wants to find again
// under that value.
bool ReadsBackUnchanged(const XMLDocumentNode& node);

// Appends text to out with the five entities for '"', '&', '\'', '<' and '>'.
void EscapeText(std::string_view text, std::string& out);

}  // namespace esd

#endif  // KXL_ESD_XML_WRITER_H
