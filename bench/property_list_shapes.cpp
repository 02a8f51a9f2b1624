// Shapes of property lists, XML and binary.
#include <algorithm>
#include <cstdint>

#include "bench/shapes.h"

namespace shapes {

namespace {

using std::string_literals::operator""s;

constexpr char kKey[] = "Disable.Update";

std::string BigEndian(std::uint64_t number, std::size_t size) {
  std::string bytes(size, '\0');
  for (; size > 0; number >>= 8U) bytes[--size] = static_cast<char>(number & 0xFFU);
  return bytes;
}

// A binary property list: "bplist00", the objects, where each one is, and what a reader starts
// with. Objects refer to one another by number, in kSize bytes like every other number here.
class BinaryList {
 public:
  static constexpr std::size_t kSize = 4;

  enum Type : unsigned char { kInteger = 1, kReal, kDate, kData, kAscii, kUtf16, kUid = 8 };
  enum Container : unsigned char { kArray = 0xA, kSet = 0xC, kDictionary = 0xD };

  // The object's number.
  std::size_t Add(const std::string& object) {
    offsets_ += BigEndian(bytes_.size(), kSize);
    bytes_ += object;
    return count_++;
  }

  static std::string Marker(unsigned type, std::size_t count) {
    if (count < 15) return {static_cast<char>(type << 4U | count)};
    return static_cast<char>(type << 4U | 15U) + ("\x12" + BigEndian(count, kSize));
  }

  std::size_t AddText(const std::string& text) { return Add(Marker(kAscii, text.size()) + text); }

  // count is what the object says that it has.
  std::size_t AddContainer(Container type, const std::string& references, std::size_t count) {
    return Add(Marker(type, count) + references);
  }

  std::size_t AddArray(std::size_t count, std::size_t object) {
    return AddContainer(kArray, Repeated(count, BigEndian(object, kSize)), count);
  }

  std::size_t Next() const { return count_; }

  // How many more bytes there are room for.
  std::size_t Room(std::size_t limit) const {
    constexpr std::size_t kRest = 200;
    const std::size_t size = bytes_.size() + offsets_.size() + kRest;
    return size < limit ? limit - size : 0;
  }

  // With a dictionary that has the switch, and beside it the object.
  std::string With(std::size_t object) {
    const std::size_t keys[] = {AddText("a"), AddText(kKey), object, Add("\x09")};
    std::string references;
    for (const std::size_t key : keys) references += BigEndian(key, kSize);
    return From(AddContainer(kDictionary, references, 2));
  }

  std::string From(std::size_t top, std::size_t offsetSize = kSize,
                   std::size_t referenceSize = kSize) const {
    return bytes_ + offsets_ + std::string(6, '\0') + BigEndian(offsetSize, 1) +
           BigEndian(referenceSize, 1) + BigEndian(count_, 8) + BigEndian(top, 8) +
           BigEndian(bytes_.size(), 8);
  }

 private:
  std::string bytes_ = "bplist00";
  std::string offsets_;
  std::size_t count_ = 0;
};

// A list of one big object.
std::string Big(std::size_t limit, unsigned type, const std::string& unit) {
  BinaryList list;
  const std::size_t count = list.Room(limit) / unit.size();
  return list.With(list.Add(BinaryList::Marker(type, count) + Repeated(count, unit)));
}

// An array of objects, each of its own.
std::string Many(std::size_t limit, const std::string& object, BinaryList::Container type) {
  BinaryList list;
  const std::size_t each = object.size() + 2 * BinaryList::kSize;
  const std::size_t count = std::min(list.Room(limit) / each, kMostNodes) & ~std::size_t{1};
  std::string references;
  for (std::size_t i = 0; i < count; ++i) references += BigEndian(list.Add(object), 4);
  return list.With(
      list.AddContainer(type, references, type == BinaryList::kDictionary ? count / 2 : count));
}

// An array that refers to one object as often as may be.
std::string Shared(std::size_t limit, const std::string& object) {
  BinaryList list;
  const std::size_t that = list.Add(object);
  return list.With(list.AddArray(std::min(list.Room(limit) / 4, kMostNodes), that));
}

// Containers that each refer to the next one, width times.
std::string Chain(std::size_t depth, std::size_t width, BinaryList::Container type) {
  BinaryList list;
  const std::size_t times = type == BinaryList::kDictionary ? width * 2 : width;
  for (std::size_t i = 0; i < depth; ++i) {
    list.AddContainer(type, Repeated(times, BigEndian(list.Next() + 1, 4)), width);
  }
  list.AddText("b");
  return list.With(0);
}

std::string Itself(BinaryList::Container type) {
  BinaryList list;
  return list.With(list.AddContainer(type, BigEndian(0, 4) + BigEndian(0, 4), 1));
}

std::string OneObject(const std::string& object) {
  BinaryList list;
  return list.With(list.Add(object));
}

std::string Trailer(std::size_t offsetSize, std::size_t referenceSize, std::size_t top) {
  BinaryList list;
  list.AddText("b");
  return list.From(top, offsetSize, referenceSize);
}

std::string WithTexts(std::size_t limit) {
  BinaryList list;
  std::string keys;
  std::size_t count = 0;
  for (; list.Room(limit) > keys.size() * 2 + 32 && count < kMostNodes / 2; ++count) {
    keys += BigEndian(list.AddText("a" + std::to_string(count)), 4);
  }
  return list.With(list.AddContainer(BinaryList::kDictionary, keys + keys, count));
}

}  // namespace

Shapes PropertyListShapes() {
  const Frame frame = {"<plist version=\"1.0\"><dict><key>a</key>",
                       "<key>"s + kKey + "</key><true/></dict></plist>"};
  const auto within = [&](const std::string& open, const std::string& close) {
    return Frame{frame.head + open, close + frame.tail};
  };
  const std::string g = "objects";
  Shapes shapes = XmlShapes(frame);
  const auto add = [&](const std::vector<Repetition>& repetitions, const Frame& around) {
    for (Shape& shape : ShapesOf(repetitions, around)) shapes.push_back(std::move(shape));
  };
  add(
      {
          {g, "arrays, nested", Repeated(250, "<array>"), "<true/>", Repeated(250, "</array>")},
          {g,
           "dictionaries, nested",
           Repeated(250, "<dict><key>a</key>"),
           {},
           "<true/>" + Repeated(250, "</dict>")},
          {g, "a wide dictionary", "<dict>", "<key>@</key><true/>", "</dict>"},
          {g, "a dictionary of one key", "<dict>", "<key>a</key><true/>", "</dict>"},
          {g, "keys without values", "<dict>", "<key/>", "</dict>"},
          {g, "a long key", "<true/><key>", "a", "</key><true/>"},
          {g, "a key of &lt;", "<true/><key>", "&lt;", "</key><true/>"},
          {g, "the switch again and again", "<true/>", "<key>"s + kKey + "</key><false/>"},
          {g, "data", "<data>", "AAAA", "</data>"},
          {g, "data of white space", "<data>", " \n", "</data>"},
          {g, "data that is none", "<data>", "=", "</data>"},
          {g, "an integer of digits", "<integer>", "9", "</integer>"},
          {g, "an integer of spaces", "<integer>", " ", "1</integer>"},
          {g, "a real of digits", "<real>", "9", "</real>"},
          {g, "a real of zeros", "<real>0.", "0", "1</real>"},
          {g, "a date of digits", "<date>", "9", "</date>"},
          {g, "a text of CDATA", "<string>", "<![CDATA[<]]>", "</string>"},
      },
      frame);
  add(
      {
          {g, "empty arrays", {}, "<array/>"},
          {g, "empty dictionaries", {}, "<dict/>"},
          {g, "arrays, 200 deep", {}, Repeated(200, "<array>") + Repeated(200, "</array>")},
          {g, "texts", {}, "<string/>"},
          {g, "texts of one reference", {}, "<string>&lt;</string>"},
          {g, "dates", {}, "<date>2008-03-17T21:05:41Z</date>"},
          {g, "reals", {}, "<real>1e308</real>"},
          {g, "integers", {}, "<integer>0x7F</integer>"},
          {g, "pieces of data", {}, "<data>AA==</data>"},
      },
      within("<array>", "</array>"));
  return shapes;
}

Shapes BinaryPropertyListShapes() {
  using L = BinaryList;
  const std::string o = "objects";
  const std::string r = "references";
  const std::string d = "damage";
  const std::string zeros(8, '\0');
  const auto fixed = [](std::string content) {
    return [content = std::move(content)](std::size_t) { return content; };
  };
  const auto big = [](unsigned type, const std::string& unit) {
    return [=](std::size_t limit) { return Big(limit, type, unit); };
  };
  const auto many = [](const std::string& object, L::Container type = L::kArray) {
    return [=](std::size_t limit) { return Many(limit, object, type); };
  };
  const auto shared = [](const std::string& object) {
    return [=](std::size_t limit) { return Shared(limit, object); };
  };
  return {
      {o, "a long text", big(L::kAscii, "b")},
      {o, "a long text in UTF-16", big(L::kUtf16, "\x08\x08")},
      {o, "a long text of surrogates",
       big(L::kUtf16, "\xD8"s + zeros.substr(7) + "\xDC" + zeros.substr(7))},
      {o, "a long text of half surrogates", big(L::kUtf16, "\xD8\xD8")},
      {o, "long data", big(L::kData, zeros)},
      {o, "texts",
       many("\x51"
            "b")},
      {o, "integers", many("\x10\x01")},
      {o, "integers of 16 bytes", many("\x14" + zeros + zeros)},
      {o, "reals", many("\x23" + zeros)},
      {o, "dates", many("\x33" + zeros)},
      {o, "pieces of data", many("\x40")},
      {o, "references of archives", many("\x80\x01")},
      {o, "booleans", many("\x08")},
      {o, "empty arrays", many("\xA0")},
      {o, "empty dictionaries", many("\xD0")},
      {o, "a set", many("\x08", L::kSet)},
      {o, "a dictionary", WithTexts},
      {o, "a dictionary of one key",
       many("\x51"
            "a",
            L::kDictionary)},
      {o, "a dictionary whose keys are none", many("\xA0", L::kDictionary)},
      {r, "one object, often", shared("\x09")},
      {r, "one text, often",
       shared("\x5C"
              "bbbbbbbbbbbb")},
      {r, "one text of 4000 bytes, often",
       shared(L::Marker(L::kAscii, 4000) + std::string(4000, 'b'))},
      {r, "an array that holds itself", fixed(Itself(L::kArray))},
      {r, "a dictionary that holds itself", fixed(Itself(L::kDictionary))},
      {r, "arrays that hold the next one twice", fixed(Chain(60, 2, L::kArray))},
      {r, "arrays that hold the next one three times, not often", fixed(Chain(12, 3, L::kArray))},
      {r, "dictionaries that hold the next one twice", fixed(Chain(60, 2, L::kDictionary))},
      {r, "arrays that hold the next one ten times", fixed(Chain(5, 10, L::kArray))},
      {r, "arrays, 250 deep", fixed(Chain(250, 1, L::kArray))},
      {r, "arrays, 100,000 deep", fixed(Chain(100000, 1, L::kArray))},
      {r, "dictionaries, 250 deep", fixed(Chain(125, 1, L::kDictionary))},
      {r, "dictionaries, too deep", fixed(Chain(1000, 1, L::kDictionary))},
      {d, "an object outside", fixed(Trailer(4, 4, 1000))},
      {d, "the last object of all", fixed(Trailer(4, 4, SIZE_MAX))},
      {d, "offsets of no bytes", fixed(Trailer(0, 4, 0))},
      {d, "offsets of nine bytes", fixed(Trailer(9, 4, 0))},
      {d, "references of no bytes", fixed(Trailer(4, 0, 0))},
      {d, "a count of four billion", fixed(OneObject("\xAF\x12\xFF\xFF\xFF\xFF"))},
      {d, "a count of all there is", fixed(OneObject("\xAF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"))},
      {d, "a text of all there is", fixed(OneObject("\x5F\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"))},
      {d, "data of all there is", fixed(OneObject("\x4F\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"))},
      {d, "a dictionary of half of all there is",
       fixed(OneObject("\xDF\x13\x80" + zeros.substr(1)))},
      {d, "an unknown object", fixed(OneObject("\x70"))},
      {d, "nothing but the header", fixed("bplist00")},
      {d, "nothing but null bytes",
       [](std::size_t limit) { return "bplist00" + std::string(limit - 8, '\0'); }},
      {d, "nothing but 0xFF",
       [](std::size_t limit) { return "bplist00" + std::string(limit - 8, '\xFF'); }},
  };
}

}  // namespace shapes
