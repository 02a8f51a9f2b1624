#include "esd/xml_writer.h"

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <cstddef>
#include <cstdint>

#include "esd/xml_parser.h"
#include "platform/regular_file.h"

namespace esd {

namespace {

// What a byte means to what is printed.
enum ByteKind : std::uint8_t {
  kPlain = 0,
  kQuote = 1,       // ends an attribute
  kMarkup = 2,      // '&' and '<', which begin something else there
  kEscaped = 4,     // the others of the five that texts escape
  kSpace = 8,       // tab and line ends, which attributes do not keep
  kForbidden = 16,  // control characters
  kSequence = 32,   // begins or continues a character of several bytes
};
constexpr std::uint8_t kEscapedInText = kQuote | kMarkup | kEscaped;
constexpr std::uint8_t kBreaksAttribute = kQuote | kMarkup;

constexpr std::array<std::uint8_t, 256> kKinds = [] {
  std::array<std::uint8_t, 256> kinds{};
  for (std::size_t byte = 0; byte < 0x20; ++byte) kinds[byte] = kForbidden;
  for (std::size_t byte = 0x80; byte < 0x100; ++byte) kinds[byte] = kSequence;
  for (const char byte : {'\t', '\n', '\r'}) kinds[static_cast<unsigned char>(byte)] = kSpace;
  for (const char byte : {'\'', '>'}) kinds[static_cast<unsigned char>(byte)] = kEscaped;
  for (const char byte : {'&', '<'}) kinds[static_cast<unsigned char>(byte)] = kMarkup;
  kinds['"'] = kQuote;
  return kinds;
}();

// All kinds that occur in the text. Each byte is looked at once, without a branch.
std::uint8_t KindsIn(std::string_view text) {
  std::uint8_t kinds = kPlain;
  for (const char byte : text) kinds |= kKinds[static_cast<unsigned char>(byte)];
  return kinds;
}

// Whether the sequences of several bytes are characters that XML knows.
bool IsXmlUtf8(std::string_view text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  for (auto at = text.begin(); at != text.end();) {
    const boost::locale::utf::code_point codePoint = Utf8::decode(at, text.end());
    if (!boost::locale::utf::is_valid_codepoint(codePoint) || (codePoint & 0xFFFFFEU) == 0xFFFE) {
      return false;
    }
  }
  return true;
}

bool IsXmlText(std::string_view text, std::uint8_t kinds) {
  return (kinds & kForbidden) == 0 && ((kinds & kSequence) == 0 || IsXmlUtf8(text));
}

bool IsAttributeText(std::string_view value, std::uint8_t refused) {
  const std::uint8_t kinds = KindsIn(value);
  return (kinds & refused) == 0 && IsXmlText(value, kinds);
}

std::string_view EntityOf(char character) {
  switch (character) {
    case '"':
      return "&quot;";
    case '&':
      return "&amp;";
    case '\'':
      return "&apos;";
    case '<':
      return "&lt;";
    default:
      return "&gt;";
  }
}

// Prints a tree, and notices on the way what would not read back: a list of thousands of entries is
// walked once for both.
class Printer {
 public:
  explicit Printer(std::string& text) : text_(text) {}

  bool ReadsBack() const {
    return readsBack_ && elements_ <= kMaximumElements && text_.size() <= kxl::kMaximumFileSize &&
           !HasTooManyTokens(text_);
  }

  void Print(const XMLDocumentNode& node) {
    if (node.IsDocument()) {
      PrintDocument(node);
    } else {
      PrintElement(node, 1);
    }
  }

 private:
  void PrintDocument(const XMLDocumentNode& document) {
    text_ += "<?xml version=\"";
    text_ += document.GetVersion();
    text_ += "\" ";
    for (const Attribute& attribute : document.GetAttributes()) {
      PrintAttribute(attribute);
      text_ += ' ';
    }
    text_ += "?>\n";
    PrintChildren(document, 0);
  }

  void PrintElement(const XMLDocumentNode& element, std::size_t depth) {
    elements_ += 1 + element.GetAttributes().size();
    if (depth > kMaximumDepth) readsBack_ = false;
    text_ += '<';
    text_ += element.GetName();
    for (const Attribute& attribute : element.GetAttributes()) {
      text_ += ' ';
      PrintAttribute(attribute);
    }
    text_ += '>';
    if (!element.GetText().empty()) {
      PrintText(element.GetText());
    } else if (!element.GetChildren().empty()) {
      text_ += '\n';
    }
    PrintChildren(element, depth);
    text_ += "</";
    text_ += element.GetName();
    text_ += '>';
  }

  void PrintAttribute(const Attribute& attribute) {
    text_ += attribute.name;
    text_ += "=\"";
    text_ += attribute.value;
    text_ += '"';
    if (!IsAttributeText(attribute.value, kBreaksAttribute)) readsBack_ = false;
  }

  void PrintText(std::string_view text) {
    const std::uint8_t kinds = KindsIn(text);
    if (!IsXmlText(text, kinds)) readsBack_ = false;
    if ((kinds & kEscapedInText) == 0) {
      text_ += text;
    } else {
      EscapeText(text, text_);
    }
  }

  void PrintChildren(const XMLDocumentNode& node, std::size_t depth) {
    for (const XMLDocumentNode* const child : node.GetChildren()) {
      PrintElement(*child, depth + 1);
      text_ += '\n';
    }
  }

  std::string& text_;
  std::size_t elements_ = 0;  // and attributes
  bool readsBack_ = true;
};

bool KeepsAttributes(const XMLDocumentNode& node) {
  const auto attributes = node.GetAttributes();
  const auto children = node.GetChildren();
  return std::all_of(
             attributes.begin(), attributes.end(),
             [](const Attribute& attribute) { return (KindsIn(attribute.value) & kSpace) == 0; }) &&
         std::all_of(children.begin(), children.end(),
                     [](const XMLDocumentNode* child) { return KeepsAttributes(*child); });
}

}  // namespace

std::ostream& WriteNode(std::ostream& stream, const XMLDocumentNode& node) {
  std::string text;
  PrintNode(node, text);
  return stream.write(text.data(), static_cast<std::streamsize>(text.size()));
}

bool PrintNode(const XMLDocumentNode& node, std::string& text) {
  Printer printer(text);
  printer.Print(node);
  return printer.ReadsBack();
}

bool ReadsBack(const XMLDocumentNode& node) {
  std::string text;
  return PrintNode(node, text);
}

bool ReadsBackUnchanged(const XMLDocumentNode& node) {
  return ReadsBack(node) && KeepsAttributes(node);
}

void EscapeText(std::string_view text, std::string& out) {
  for (const char character : text) {
    if ((kKinds[static_cast<unsigned char>(character)] & kEscapedInText) == 0) {
      out += character;
    } else {
      out += EntityOf(character);
    }
  }
}

}  // namespace esd
