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

// The end of a text that grows by many short pieces: its memory is there before they are.
class TextEnd {
 public:
  explicit TextEnd(std::string& text) : text_(text), size_(text.size()) {}
  ~TextEnd() { text_.resize(size_); }
  TextEnd(const TextEnd&) = delete;
  TextEnd& operator=(const TextEnd&) = delete;

  // Characters and texts.
  template <typename... Pieces>
  void Append(Pieces... pieces) {
    const std::size_t end = size_ + (SizeOf(pieces) + ...);
    if (end > text_.size()) text_.resize(std::max(2 * end, text_.capacity()));
    char* at = text_.data() + size_;
    ((at = Put(at, pieces)), ...);
    size_ = end;
  }

  std::string_view Text() const { return {text_.data(), size_}; }

 private:
  static std::size_t SizeOf(char /*piece*/) { return 1; }
  static std::size_t SizeOf(std::string_view piece) { return piece.size(); }
  static char* Put(char* at, char piece) {
    *at = piece;
    return at + 1;
  }
  static char* Put(char* at, std::string_view piece) {
    return std::copy(piece.begin(), piece.end(), at);
  }

  std::string& text_;
  std::size_t size_;
};

// Prints a tree, and notices on the way what would not read back: a list of thousands of entries is
// walked once for both.
class Printer {
 public:
  explicit Printer(std::string& text) : text_(text) {}

  bool ReadsBack() const {
    return readsBack_ && elements_ <= kMaximumElements &&
           text_.Text().size() <= kxl::kMaximumFileSize && !HasTooManyTokens(text_.Text());
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
    text_.Append(std::string_view("<?xml version=\""), document.GetVersion(), '"');
    for (const Attribute& attribute : document.GetAttributes()) PrintAttribute(attribute);
    text_.Append(' ', '?', '>', '\n');
    PrintChildren(document, 0);
  }

  void PrintElement(const XMLDocumentNode& element, std::size_t depth) {
    elements_ += 1 + element.GetAttributes().size();
    if (depth > kMaximumDepth) readsBack_ = false;
    text_.Append('<', element.GetName());
    for (const Attribute& attribute : element.GetAttributes()) PrintAttribute(attribute);
    text_.Append('>');
    if (!element.GetText().empty()) {
      PrintText(element.GetText());
    } else if (!element.GetChildren().empty()) {
      text_.Append('\n');
    }
    PrintChildren(element, depth);
    text_.Append('<', '/', element.GetName(), '>');
  }

  void PrintAttribute(const Attribute& attribute) {
    text_.Append(' ', attribute.name, '=', '"', attribute.value, '"');
    if (!IsAttributeText(attribute.value, kBreaksAttribute)) readsBack_ = false;
  }

  void PrintText(std::string_view text) {
    const std::uint8_t kinds = KindsIn(text);
    if (!IsXmlText(text, kinds)) readsBack_ = false;
    if ((kinds & kEscapedInText) == 0) {
      text_.Append(text);
      return;
    }
    std::string escaped;
    EscapeText(text, escaped);
    text_.Append(std::string_view(escaped));
  }

  void PrintChildren(const XMLDocumentNode& node, std::size_t depth) {
    for (const XMLDocumentNode* const child : node.GetChildren()) {
      PrintElement(*child, depth + 1);
      text_.Append('\n');
    }
  }

  TextEnd text_;
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
