#include "esd/xml_parser.h"

#define XML_DTD  // expat declares its limits on entities only then
#include <expat.h>

#include <cstring>
#include <string_view>
#include <utility>

#include "esd/streams.h"

namespace esd {

namespace {

constexpr int kChunkSize = 1024;  // bytes

// What attributes take in a start tag, in bytes: pairs of name and value up to a null.
std::size_t SizeInTag(const char** attributes) {
  constexpr std::size_t kPunctuation = 2;  // of each half of ' name="value"'
  std::size_t size = 0;
  for (; *attributes != nullptr; ++attributes) size += std::strlen(*attributes) + kPunctuation;
  return size;
}

}  // namespace

struct ExpatDOMBuilder::Events {
  static void Register(ExpatDOMBuilder& builder) {
    XML_Parser parser = builder.parser_.get();
    XML_SetUserData(parser, &builder);
    XML_SetElementHandler(parser, StartElement, EndElement);
    XML_SetCharacterDataHandler(parser, CharacterData);
    XML_SetXmlDeclHandler(parser, Declaration);
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
      // The attributes of the start tag come first. Those behind them are copied for each element,
      // so that a small file could take all of the host's memory.
      builder.suppliedSize_ +=
          SizeInTag(attributes + XML_GetSpecifiedAttributeCount(builder.parser_.get()));
      // The document itself is one of the open nodes.
      if (builder.openNodes_.size() > kMaximumDepth || ++builder.elementCount_ > kMaximumElements ||
          builder.suppliedSize_ > kxl::kMaximumFileSize) {
        XML_StopParser(builder.parser_.get(), XML_FALSE);
        return;
      }
      builder.inElement_ = true;
      XMLNodePointer element = XMLDocumentNode::NewElement(name, builder.memory_.get());
      XMLDocumentNode* const node = element.get();
      builder.openNodes_.back()->AddChild(std::move(element));
      node->SetAttributes(attributes);
      builder.openNodes_.push_back(node);
    });
  }

  static void EndElement(void* userData, const char* /*name*/) {
    ExpatDOMBuilder& builder = *static_cast<ExpatDOMBuilder*>(userData);
    builder.inElement_ = false;
    builder.openNodes_.pop_back();
  }

  static void CharacterData(void* userData, const char* bytes, int length) {
    Guard(userData, [&](ExpatDOMBuilder& builder) {
      if (!builder.inElement_) return;
      builder.openNodes_.back()->AppendText({bytes, static_cast<std::size_t>(length)});
    });
  }

  static void Declaration(void* userData, const char* version, const char* /*encoding*/,
                          int /*standalone*/) {
    Guard(userData, [&](ExpatDOMBuilder& builder) {
      if (version == nullptr) return;
      builder.document_->SetAttribute("version", version);
      builder.document_->SetAttribute("encoding", "UTF-8");
    });
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
  memory_.reset();
  inElement_ = false;
  elementCount_ = 0;
  suppliedSize_ = 0;
  lastRead_ = ReadStatus::kUnreadable;
  thrown_ = nullptr;
}

bool ExpatDOMBuilder::Init(const char* encoding, const char* separator) {
  Reset();
  parser_.reset(XML_ParserCreate_MM(encoding, nullptr, separator));
  if (!parser_) return false;
  XML_SetBillionLaughsAttackProtectionActivationThreshold(parser_.get(), kxl::kMaximumFileSize);
  XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser_.get(), 1.0F);
  memory_.reset(NodeMemory::New());
  document_ = XMLDocumentNode::NewDocument(memory_.get());
  openNodes_.push_back(document_.get());
  Events::Register(*this);
  return true;
}

bool ExpatDOMBuilder::ParseFile(const std::string& path, bool defaultResult, kxl::Links links) {
  kxl::ESDifstream file(path, "rb", std::ios::in | std::ios::binary | std::ios::ate, links);
  switch (file.Status()) {
    case kxl::OpenStatus::kOpened:
      break;
    case kxl::OpenStatus::kMissing:
      lastRead_ = ReadStatus::kMissing;
      return defaultResult;
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
  if (file.Size() == 0) {
    lastRead_ = ReadStatus::kDamaged;
    return defaultResult;
  }
  lastRead_ = file.Size() > kxl::kMaximumFileSize ? ReadStatus::kDamaged : Parse(file.Stream());
  return lastRead_ == ReadStatus::kParsed;
}

bool ExpatDOMBuilder::ParseStream(std::istream& stream) {
  lastRead_ = Parse(stream);
  return lastRead_ == ReadStatus::kParsed;
}

ReadStatus ExpatDOMBuilder::Parse(std::istream& stream) {
  std::uint64_t total = 0;
  do {
    void* buffer = XML_GetBuffer(parser_.get(), kChunkSize);
    if (buffer == nullptr) return ReadStatus::kUnreadable;
    stream.read(static_cast<char*>(buffer), kChunkSize);
    if (stream.bad()) return ReadStatus::kUnreadable;
    const auto count = static_cast<int>(stream.gcount());
    total += static_cast<std::uint64_t>(count);
    if (total > kxl::kMaximumFileSize) return ReadStatus::kDamaged;  // it is growing while we read
    if (XML_ParseBuffer(parser_.get(), count, stream.eof()) != XML_STATUS_OK) {
      if (thrown_) std::rethrow_exception(std::exchange(thrown_, nullptr));
      return XML_GetErrorCode(parser_.get()) == XML_ERROR_NO_MEMORY ? ReadStatus::kUnreadable
                                                                    : ReadStatus::kDamaged;
    }
  } while (!stream.eof());
  return ReadStatus::kParsed;
}

}  // namespace esd
