#include "stores/property_list.h"

#include <plist/plist.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>

#include "esd/xml_parser.h"
#include "esd/xml_writer.h"
#include "platform/regular_file.h"
#include "platform/shared_library.h"

namespace kxl {

namespace {

// Most hosts have no list to read, and should not load the library. Once loaded it stays until the
// process ends: threads of the host may be in it while the process exits.
class PlistLibrary {
 public:
  // Null when there is none.
  static const PlistLibrary* Loaded() {
    alignas(PlistLibrary) static std::array<std::byte, sizeof(PlistLibrary)> storage;
    static std::once_flag flag;
    std::call_once(flag, [] { new (storage.data()) PlistLibrary; });
    const auto* library = std::launder(reinterpret_cast<const PlistLibrary*>(storage.data()));
    return library->isComplete_ ? library : nullptr;
  }

  decltype(&plist_from_xml) fromXml = nullptr;
  decltype(&plist_from_bin) fromBinary = nullptr;
  decltype(&plist_free) free = nullptr;
  decltype(&plist_get_node_type) typeOf = nullptr;
  decltype(&plist_dict_get_item) item = nullptr;
  decltype(&plist_get_bool_val) booleanValue = nullptr;

 private:
  PlistLibrary()
      : isComplete_(library_.Find(fromXml, "plist_from_xml") &&
                    library_.Find(fromBinary, "plist_from_bin") &&
                    library_.Find(free, "plist_free") &&
                    library_.Find(typeOf, "plist_get_node_type") &&
                    library_.Find(item, "plist_dict_get_item") &&
                    library_.Find(booleanValue, "plist_get_bool_val")) {}

  SharedLibrary library_{LIBPLIST};
  bool isComplete_;
};

using Plist = std::unique_ptr<void, decltype(&plist_free)>;

// What a binary list unfolds to: its objects refer to one another by number, and one that is
// referred to many times counts each time. libplist follows them without a limit, and takes the
// host's stack and memory for it. The format ends with a trailer of 32 bytes that tells where to
// find what.
class BinaryList {
 public:
  explicit BinaryList(const std::string& bytes) : bytes_(bytes) {}

  bool IsWithinLimits() {
    constexpr std::size_t kTrailerSize = 32;
    if (bytes_.size() < kTrailerSize) return false;
    const std::size_t trailer = bytes_.size() - kTrailerSize;
    offsetSize_ = Number(trailer + 6, 1);
    referenceSize_ = Number(trailer + 7, 1);
    offsets_ = Number(trailer + 24, 8);
    return Follow(Number(trailer + 16, 8), 1);
  }

 private:
  static constexpr std::uint64_t kOutside = UINT64_MAX;

  // Big-endian. kOutside for one that is not within the list.
  std::uint64_t Number(std::uint64_t at, std::uint64_t size) const {
    if (size > sizeof(std::uint64_t) || at > bytes_.size() || size > bytes_.size() - at) {
      return kOutside;
    }
    std::uint64_t number = 0;
    for (const char byte : std::string_view(bytes_).substr(static_cast<std::size_t>(at),
                                                           static_cast<std::size_t>(size))) {
      number = number << 8U | static_cast<unsigned char>(byte);
    }
    return number;
  }

  bool Follow(std::uint64_t object, std::size_t depth) {
    if (depth > esd::kMaximumDepth || ++objects_ > esd::kMaximumElements ||
        object > bytes_.size() || offsets_ > bytes_.size()) {
      return false;
    }
    std::uint64_t at = Number(offsets_ + object * offsetSize_, offsetSize_);
    const std::uint64_t marker = Number(at, 1);
    if (marker == kOutside) return false;
    ++at;
    std::uint64_t count = marker & 0x0FU;
    if (count == 0x0F) {  // a number of its own tells it
      const std::uint64_t size = std::uint64_t{1} << (Number(at, 1) & 0x0FU);
      count = Number(at + 1, size);
      at += 1 + size;
    }
    if (count > bytes_.size()) return false;
    switch (marker >> 4U) {
      case 0xA:  // an array
      case 0xC:  // a set
        return FollowAll(at, count, depth);
      case 0xD:  // a dictionary: the keys, then the values
        return FollowAll(at, count * 2, depth);
      default:
        size_ += count;
        return size_ <= kMaximumFileSize;
    }
  }

  bool FollowAll(std::uint64_t at, std::uint64_t count, std::size_t depth) {
    for (; count > 0; --count, at += referenceSize_) {
      if (!Follow(Number(at, referenceSize_), depth + 1)) return false;
    }
    return true;
  }

  const std::string& bytes_;
  std::uint64_t offsetSize_ = 0;
  std::uint64_t referenceSize_ = 0;
  std::uint64_t offsets_ = 0;
  std::size_t objects_ = 0;
  std::uint64_t size_ = 0;  // of texts and data
};

// libplist follows nested elements without a limit, too, and sees elements in the document type and
// its comments. It gets what our parser has read, printed anew; nothing for what that refuses.
std::string PrintAnew(const std::string& text) {
  esd::ExpatDOMBuilder builder;
  std::string printed;
  if (!builder.Init() || !builder.ParseText(text) ||
      !esd::PrintNode(*builder.Document(), printed)) {
    return {};
  }
  return printed;
}

Plist Parse(const PlistLibrary& library, const std::string& text) {
  plist_t list = nullptr;
  if (!text.starts_with("bplist00")) {
    const std::string printed = PrintAnew(text);
    library.fromXml(printed.data(), static_cast<std::uint32_t>(printed.size()), &list);
  } else if (BinaryList(text).IsWithinLimits()) {
    library.fromBinary(text.data(), static_cast<std::uint32_t>(text.size()), &list);
  }
  return {list, library.free};
}

}  // namespace

BooleanSearch FindBoolean(const std::string& text, const char* key, bool& value) {
  const PlistLibrary* const library = PlistLibrary::Loaded();
  if (library == nullptr) return BooleanSearch::kNoLibrary;
  const Plist list = Parse(*library, text);
  // A null node is of no type.
  if (library->typeOf(list.get()) != PLIST_DICT) return BooleanSearch::kDamaged;
  const plist_t node = library->item(list.get(), key);
  if (node == nullptr) return BooleanSearch::kNoKey;
  if (library->typeOf(node) != PLIST_BOOLEAN) return BooleanSearch::kOtherType;
  std::uint8_t number = 0;
  library->booleanValue(node, &number);
  value = number != 0;
  return BooleanSearch::kFound;
}

}  // namespace kxl
