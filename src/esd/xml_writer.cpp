#include "esd/xml_writer.h"

#include <algorithm>
#include <array>
#include <boost/locale/utf.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "esd/xml_parser.h"

namespace esd {

namespace {

// A set of bytes, for a search that looks at each byte once.
class CharacterSet {
 public:
  explicit constexpr CharacterSet(std::string_view characters) {
    for (const char character : characters) isIn_[static_cast<unsigned char>(character)] = true;
  }

  // Where the first of them stands; the size of the text when there is none.
  std::size_t FindIn(std::string_view text) const {
    std::size_t i = 0;
    while (i < text.size() && !isIn_[static_cast<unsigned char>(text[i])]) ++i;
    return i;
  }

 private:
  std::array<bool, 256> isIn_{};
};

// Whether the text begins with eight printable ASCII characters, as nearly all of ours do.
bool BeginsPlain(std::string_view text) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  std::uint64_t bytes;
  if (text.size() < sizeof bytes) return false;
  std::memcpy(&bytes, text.data(), sizeof bytes);
  // A byte below 0x20 borrows from its own highest bit first.
  return ((bytes | (bytes - kEach * 0x20)) & kEach * 0x80) == 0;
}

bool IsXmlText(std::string_view text) {
  while (BeginsPlain(text)) text.remove_prefix(sizeof(std::uint64_t));
  using Utf8 = boost::locale::utf::utf_traits<char>;
  for (auto at = text.begin(); at != text.end();) {
    const auto byte = static_cast<unsigned char>(*at);
    if (byte < 0x80) {
      if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') return false;
      ++at;
      continue;
    }
    const boost::locale::utf::code_point codePoint = Utf8::decode(at, text.end());
    if (!boost::locale::utf::is_valid_codepoint(codePoint) || (codePoint & 0xFFFFFEU) == 0xFFFE) {
      return false;
    }
  }
  return true;
}

// Collects the text and passes it on in pieces: one call of the stream for a small file.
class Printer {
 public:
  explicit Printer(std::ostream& stream) : stream_(stream) {}

  void PrintDocument(const XMLDocumentNode& document) {
    text_ += "<?xml version=\"";
    text_ += document.GetVersion();
    text_ += "\" ";
    for (const auto& [name, value] : document.GetAttributes()) {
      PrintAttribute(name, value);
      text_ += ' ';
    }
    text_ += "?>\n";
    PrintChildren(document);
  }

  void PrintElement(const XMLDocumentNode& element) {
    text_ += '<';
    text_ += element.GetName();
    for (const auto& [name, value] : element.GetAttributes()) {
      text_ += ' ';
      PrintAttribute(name, value);
    }
    text_ += '>';
    if (!element.GetText().empty()) {
      EscapeText(element.GetText(), text_);
    } else if (!element.GetChildren().empty()) {
      text_ += '\n';
    }
    PrintChildren(element);
    text_ += "</";
    text_ += element.GetName();
    text_ += '>';
  }

  void Flush() {
    stream_.write(text_.data(), static_cast<std::streamsize>(text_.size()));
    text_.clear();
  }

 private:
  static constexpr std::size_t kPieceSize = 256UL * 1024;  // bytes

  void PrintAttribute(std::string_view name, std::string_view value) {
    text_ += name;
    text_ += "=\"";
    text_ += value;
    text_ += '"';
  }

  void PrintChildren(const XMLDocumentNode& node) {
    for (const XMLNodePointer& child : node.GetChildren()) {
      PrintElement(*child);
      text_ += '\n';
      if (text_.size() >= kPieceSize) Flush();
    }
  }

  std::ostream& stream_;
  std::string text_;
};

constexpr CharacterSet kBreaksAttributes("\"&<");
constexpr CharacterSet kChangesInAttributes("\"&<\t\n\r");

bool ReadsBack(const XMLDocumentNode& node, const CharacterSet& refused, std::size_t depth,
               std::size_t& elements) {
  const auto& attributes = node.GetAttributes();
  const auto& children = node.GetChildren();
  elements += children.size();
  return depth <= kMaximumDepth && elements <= kMaximumElements && IsXmlText(node.GetText()) &&
         std::all_of(attributes.begin(), attributes.end(),
                     [&](const auto& attribute) {
                       const std::string_view value = attribute.second;
                       return IsXmlText(value) && refused.FindIn(value) == value.size();
                     }) &&
         std::all_of(children.begin(), children.end(), [&](const XMLNodePointer& child) {
           return ReadsBack(*child, refused, depth + 1, elements);
         });
}

}  // namespace

std::ostream& WriteNode(std::ostream& stream, const XMLDocumentNode& node) {
  Printer printer(stream);
  if (node.IsDocument()) {
    printer.PrintDocument(node);
  } else {
    printer.PrintElement(node);
  }
  printer.Flush();
  return stream;
}

bool ReadsBack(const XMLDocumentNode& node) {
  std::size_t elements = 0;
  return ReadsBack(node, kBreaksAttributes, node.IsDocument() ? 0 : 1, elements);
}

bool ReadsBackUnchanged(const XMLDocumentNode& node) {
  std::size_t elements = 0;
  return ReadsBack(node, kChangesInAttributes, node.IsDocument() ? 0 : 1, elements);
}

void EscapeText(std::string_view text, std::string& out) {
  static constexpr CharacterSet kSpecial("\"&'<>");
  for (;;) {
    const std::size_t special = kSpecial.FindIn(text);
    out += text.substr(0, special);
    if (special == text.size()) return;
    switch (text[special]) {
      case '"':
        out += "&quot;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '\'':
        out += "&apos;";
        break;
      case '<':
        out += "&lt;";
        break;
      default:
        out += "&gt;";
        break;
    }
    text.remove_prefix(special + 1);
  }
}

}  // namespace esd
