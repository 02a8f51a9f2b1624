// Reading an XML file into a tree.
#ifndef KXL_ESD_XML_PARSER_H
#define KXL_ESD_XML_PARSER_H

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "esd/xml_document.h"
#include "platform/regular_file.h"

struct XML_ParserStruct;

namespace esd {

// A document nested deeper than this, in elements, is not ours and counts as damaged, and so does a
// file larger than kxl::kMaximumFileSize, and one with declarations of its own: entities and
// default attributes can make any amount of work and stack out of few bytes. A document type that
// only names an external one is let be, and never fetched.
inline constexpr std::size_t kMaximumDepth = 256;
// So does one of more elements and attributes than this, together: each takes some hundred bytes of
// the host's memory.
inline constexpr std::size_t kMaximumElements = 1000000;
// And one of more different names than this, ours have two dozen: expat keeps each of them, which
// takes it a microsecond.
inline constexpr std::size_t kMaximumNames = 100000;
// And one with more line ends, references and closing brackets than this: expat hands over each of
// them by itself, so that sixteen million would take half a second. It leaves room for the two line
// ends that are written for an element.
inline constexpr std::size_t kMaximumTextPieces = 3 * kMaximumElements;

// Whether a document has more pieces of text than kMaximumTextPieces, or a tag with more attributes
// than kMaximumNames, all of them different. Their characters are counted, wherever they stand:
// equals signs from one '<' to the next. Expat reads all of a tag's attributes before it tells of
// any, so this comes first.
bool HasTooManyTokens(std::string_view text);

// What reading a file has met. Damage may be mended by starting the file anew; what could not be
// read may hold anything and has to be left alone.
enum class ReadStatus {
  kMissing,
  kParsed,
  kDamaged,      // read, but no well-formed XML within the limits, or no regular file
  kFolder,       // never ours, and never to be removed
  kDenied,       // not to be opened, now or later (rights)
  kUnavailable,  // not to be opened for the moment (descriptors, memory, a bad disk)
  kUnreadable,   // opened, and then not to be read, or not for want of memory
};

// Builds a tree from expat's events. Character data counts up to the first tag behind it only: the
// line ends between the elements of a file written by WriteNode are not read back.
class ExpatDOMBuilder {
 public:
  ExpatDOMBuilder();
  ~ExpatDOMBuilder();
  ExpatDOMBuilder(const ExpatDOMBuilder&) = delete;
  ExpatDOMBuilder& operator=(const ExpatDOMBuilder&) = delete;

  // Begins a document, and drops an earlier one. encoding overrides the file's own declaration, a
  // namespace separator makes expat join namespaces and names; null leaves both to the file. False
  // when there is no memory for a parser.
  bool Init(const char* encoding = nullptr, const char* separator = nullptr);
  // Drops the document.
  void Reset();

  // Reads one document, once between two calls of Init. True when it was parsed to its end; false
  // when it is not well formed, breaks a limit or cannot be read; defaultResult when it cannot be
  // opened or is empty. What was built before a failure stays in the document. content, unless it
  // is null, gets the bytes that were parsed behind what it holds.
  bool ParseFile(const std::string& path, bool defaultResult,
                 kxl::Links links = kxl::Links::kFollow, std::string* content = nullptr);
  bool ParseText(std::string_view text);
  // Why the last ParseFile or ParseText answered what it did.
  ReadStatus LastRead() const { return lastRead_; }
  // How much the last of them was to read, in bytes.
  std::size_t TextSize() const { return textSize_; }

  // Null before Init and after Reset.
  const XMLNodePointer& Document() const { return document_; }

 private:
  struct Events;  // expat's callbacks
  struct ParserDeleter {
    void operator()(XML_ParserStruct* parser) const;
  };

  ReadStatus ReadFrom(int descriptor, std::size_t size, std::string* content);
  ReadStatus ParseBuffer(std::size_t size, bool isLast);

  XMLNodePointer document_;
  std::vector<XMLDocumentNode*> openNodes_;  // they belong to the document
  bool inElement_ = false;
  std::size_t elementCount_ = 0;  // and attributes
  std::size_t textSize_ = 0;
  ReadStatus lastRead_ = ReadStatus::kUnreadable;
  std::exception_ptr thrown_;  // inside a callback, which must return to expat
  std::unique_ptr<XML_ParserStruct, ParserDeleter> parser_;
};

}  // namespace esd

#endif  // KXL_ESD_XML_PARSER_H
