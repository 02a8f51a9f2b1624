#include "esd/xml_parser.h"

#include <expat.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace esd {

namespace {

bool HasTooManyAttributes(std::string_view text) {
  constexpr std::size_t kHarmless = 2UL * 1024 * 1024;  // bytes, in which they take no second
  if (text.size() <= kHarmless) return false;
  std::size_t count = 0;
  for (const char character : text) {
    if (character == '<') count = 0;
    if (character == '=' && ++count > kMaximumNames) return true;
  }
  return false;
}

bool HasTooManyTextPieces(std::string_view text) {
  if (text.size() <= kMaximumTextPieces) return false;
  const auto pieces = std::count_if(text.begin(), text.end(), [](char character) {
    return character == '\n' || character == '\r' || character == '&' || character == ']';
  });
  return static_cast<std::size_t>(pieces) > kMaximumTextPieces;
}

}  // namespace

bool HasTooManyTokens(std::string_view text) {
  return HasTooManyAttributes(text) || HasTooManyTextPieces(text);
}

struct ExpatDOMBuilder::Events {
  static void Register(ExpatDOMBuilder& builder) {
    XML_Parser parser = builder.parser_.get();
    XML_SetUserData(parser, &builder);
    XML_SetElementHandler(parser, StartElement, EndElement);
    XML_SetCharacterDataHandler(parser, CharacterData);
    XML_SetXmlDeclHandler(parser, Declaration);
    XML_SetStartDoctypeDeclHandler(parser, DocumentType);
  }

  // An exception must not pass through expat's frames, which know nothing of it.
  template <typename Body>
  static void Guard(void* userData, Body body) {
    ExpatDOMBuilder& builder = *static_cast<ExpatDOMBuilder*>(userData);
    try {
      body(builder);
    } catch (...) {
      builder.thrown_ = std::current_exception();
      XML_StopParser(builder.parser_.get(), XML_FALSE);
    }
  }

  static void StartElement(void* userData, const char* name, const char** attributes) {
    Guard(userData, [&](ExpatDOMBuilder& builder) {
      XML_Parser parser = builder.parser_.get();
      const int namesAndValues = XML_GetSpecifiedAttributeCount(parser);
      builder.elementCount_ += 1 + static_cast<std::size_t>(namesAndValues) / 2;
      // The document itself is one of the open nodes.
      if (builder.openNodes_.size() > kMaximumDepth || builder.elementCount_ > kMaximumElements ||
          builder.document_->NameCount() > kMaximumNames) {
        XML_StopParser(parser, XML_FALSE);
        return;
      }
      builder.inElement_ = true;
      XMLDocumentNode& element = builder.openNodes_.back()->AppendElement(name);
      element.SetAttributes(attributes);
      builder.openNodes_.push_back(&element);
    });
  }

  // What stands behind a child's end tag is the indentation of whoever wrote the file, and dropped.
  static void EndElement(void* userData, const char* /*name*/) {
    ExpatDOMBuilder& builder = *static_cast<ExpatDOMBuilder*>(userData);
    builder.inElement_ = false;
    builder.openNodes_.pop_back();
  }

  // Comes in any number of pieces; a line end is one of its own.
  static void CharacterData(void* userData, const char* bytes, int length) {
    Guard(userData, [&](ExpatDOMBuilder& builder) {
      if (!builder.inElement_) return;
      builder.openNodes_.back()->AppendText({bytes, static_cast<std::size_t>(length)});
    });
  }

  // The text arrives in UTF-8 whatever the file declares, and is written so again.
  static void Declaration(void* userData, const char* version, const char* /*encoding*/,
                          int /*standalone*/) {
    Guard(userData, [&](ExpatDOMBuilder& builder) {
      if (version == nullptr) return;
      builder.document_->SetAttribute("version", version);
      builder.document_->SetAttribute("encoding", "UTF-8");
    });
  }

  // Comes before anything that the document declares.
  static void DocumentType(void* userData, const char* /*name*/, const char* /*systemId*/,
                           const char* /*publicId*/, int hasInternalSubset) {
    ExpatDOMBuilder& builder = *static_cast<ExpatDOMBuilder*>(userData);
    if (hasInternalSubset != 0) XML_StopParser(builder.parser_.get(), XML_FALSE);
  }
};

void ExpatDOMBuilder::ParserDeleter::operator()(XML_ParserStruct* parser) const {
  XML_ParserFree(parser);
}

ExpatDOMBuilder::ExpatDOMBuilder() = default;
ExpatDOMBuilder::~ExpatDOMBuilder() = default;

void ExpatDOMBuilder::Reset() {
  parser_.reset();
  openNodes_.clear();
  document_.reset();
  inElement_ = false;
  elementCount_ = 0;
  textSize_ = 0;
  lastRead_ = ReadStatus::kUnreadable;
  thrown_ = nullptr;
}

bool ExpatDOMBuilder::Init(const char* encoding, const char* separator) {
  Reset();
  parser_.reset(XML_ParserCreate_MM(encoding, nullptr, separator));
  if (!parser_) return false;
  document_ = XMLDocumentNode::NewDocument();
  openNodes_.push_back(document_.get());
  Events::Register(*this);
  return true;
}

bool ExpatDOMBuilder::ParseFile(const std::string& path, bool defaultResult, kxl::Links links,
                                std::string* content) {
  const kxl::OpenedFile file = kxl::OpenRegularFile(path, kxl::FileAccess::kRead, links);
  switch (file.status) {
    case kxl::OpenStatus::kOpened:
      break;
    case kxl::OpenStatus::kMissing:
      lastRead_ = ReadStatus::kMissing;
      return defaultResult;
    // Replaced by whoever writes the file next, as damage is: nobody put a FIFO there to be kept.
    case kxl::OpenStatus::kNotRegular:
      lastRead_ = ReadStatus::kDamaged;
      return defaultResult;
    case kxl::OpenStatus::kFolder:
      lastRead_ = ReadStatus::kFolder;
      return defaultResult;
    case kxl::OpenStatus::kDenied:
      lastRead_ = ReadStatus::kDenied;
      return defaultResult;
    case kxl::OpenStatus::kUnavailable:
      lastRead_ = ReadStatus::kUnavailable;
      return defaultResult;
  }
  if (file.size == 0) {
    lastRead_ = ReadStatus::kDamaged;
    return defaultResult;
  }
  lastRead_ = file.size > kxl::kMaximumFileSize
                  ? ReadStatus::kDamaged
                  : ReadFrom(file.descriptor.get(), file.size, content);
  return lastRead_ == ReadStatus::kParsed;
}

bool ExpatDOMBuilder::ParseText(std::string_view text) {
  lastRead_ = ReadStatus::kUnreadable;
  void* const buffer =
      parser_ ? XML_GetBuffer(parser_.get(), static_cast<int>(text.size() + 1)) : nullptr;
  if (buffer == nullptr) return false;
  std::memcpy(buffer, text.data(), text.size());
  textSize_ = text.size();
  document_->ExpectText(textSize_);
  lastRead_ = ParseBuffer(text.size(), true);
  return lastRead_ == ReadStatus::kParsed;
}

// As a whole: expat walks a token that is not complete once more with each piece that it gets, so
// that one token of megabytes would take minutes.
ReadStatus ExpatDOMBuilder::ReadFrom(int descriptor, std::size_t size, std::string* content) {
  textSize_ = size;
  document_->ExpectText(size);
  std::size_t total = 0;
  // One byte more than there should be: that it is missing tells that this is the end.
  for (std::size_t wanted = size + 1;; wanted = total) {
    void* const buffer = parser_ ? XML_GetBuffer(parser_.get(), static_cast<int>(wanted)) : nullptr;
    std::size_t count = 0;
    if (buffer == nullptr ||
        !kxl::ReadUpTo(descriptor, static_cast<char*>(buffer), wanted, count)) {
      return ReadStatus::kUnreadable;
    }
    if (HasTooManyTokens({static_cast<const char*>(buffer), count})) {
      return ReadStatus::kDamaged;
    }
    if (content != nullptr) content->append(static_cast<const char*>(buffer), count);
    total += count;
    if (total > kxl::kMaximumFileSize) return ReadStatus::kDamaged;  // it grows while it is read
    const bool isLast = count < wanted;
    const ReadStatus status = ParseBuffer(count, isLast);
    if (isLast || status != ReadStatus::kParsed) return status;
  }
}

ReadStatus ExpatDOMBuilder::ParseBuffer(std::size_t size, bool isLast) {
  if (XML_ParseBuffer(parser_.get(), static_cast<int>(size), isLast ? 1 : 0) == XML_STATUS_OK) {
    // Its memory, as large as the file, is not needed beside that of what is written next.
    if (isLast) parser_.reset();
    return ReadStatus::kParsed;
  }
  if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
  return XML_GetErrorCode(parser_.get()) == XML_ERROR_NO_MEMORY ? ReadStatus::kUnreadable
                                                                : ReadStatus::kDamaged;
}

}  // namespace esd
