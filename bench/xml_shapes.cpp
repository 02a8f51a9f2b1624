// Shapes of text, and those that any XML document can have.
#include <algorithm>
#include <iterator>

#include "bench/shapes.h"

namespace shapes {

namespace {

std::string Join(const std::vector<std::string>& parts) {
  std::string text;
  for (const std::string& part : parts) text += part;
  return text;
}

std::string Fill(const Repetition& that, const Frame& frame, std::size_t limit) {
  std::string text;
  text.reserve(limit);
  const bool isInside = that.place == Place::kInside;
  const bool isBehind = that.place == Place::kBehind;
  if (isInside || isBehind) text += frame.head;
  if (isBehind) text += frame.tail;
  text += that.before;
  std::string end;
  if (!that.isCut) {
    end = that.after;
    if (that.place == Place::kBefore) end += frame.head;
    if (isInside || that.place == Place::kBefore) end += frame.tail;
  }
  const std::size_t number = that.unit.find('@');
  std::string unit = that.unit;
  for (std::size_t count = 0; count < that.most; ++count) {
    if (number != std::string::npos) {
      unit = that.unit;
      unit.replace(number, 1, std::to_string(count));
    }
    if (unit.empty() || text.size() + unit.size() + end.size() > limit) break;
    text += unit;
  }
  return text + end;
}

// ASCII, or latin-1, as UTF-16 with its mark.
std::string Wide(const std::string& text, bool isBigEndian) {
  std::string wide = isBigEndian ? "\xFE\xFF" : "\xFF\xFE";
  for (const char character : text) {
    if (isBigEndian) wide += '\0';
    wide += character;
    if (!isBigEndian) wide += '\0';
  }
  return wide;
}

// The document in another encoding, half as many characters as it may have bytes.
Shape InUtf16(const std::string& name, bool isBigEndian, const Repetition& repetition,
              const Frame& frame) {
  return {"encodings", name, [=](std::size_t limit) {
            return Wide(Fill(repetition, frame, limit / 2 - 1), isBigEndian);
          }};
}

// A text of the same three bytes of UTF-8, from two.
Shape GrowingUtf16(const Frame& frame) {
  return {"encodings", "UTF-16 that takes half as much again", [=](std::size_t limit) {
            std::string text = Wide(frame.head + "<string>", false);
            const std::string end = Wide("</string>" + frame.tail, false).substr(2);
            while (text.size() + 2 + end.size() <= limit) text += "\x08\x08";
            return text + end;
          }};
}

std::string Prolog(const std::string& encoding) {
  return R"(<?xml version="1.0" encoding=")" + encoding + R"("?>)";
}

Frame InEncoding(const std::string& encoding, const Frame& frame) {
  return {Prolog(encoding) + frame.head, frame.tail};
}

std::string EntityChain(std::size_t length, const std::string& uses) {
  std::string text = R"(<!DOCTYPE a [<!ENTITY a0 "bbbbbbbb">)";
  for (std::size_t i = 1; i <= length; ++i) {
    std::string reference = "&a" + std::to_string(i - 1) + ";";
    text += "<!ENTITY a" + std::to_string(i) + " \"" + Repeated(uses.size(), reference) + "\">";
  }
  return text + "]>";
}

std::vector<Repetition> Elements() {
  const std::string g = "elements";
  const std::string down = Repeated(250, "<a>");
  const std::string up = Repeated(250, "</a>");
  return {
      {g, "tiny, too many", {}, "<a/>"},
      {g, "tiny, as many as may be", {}, "<a/>", {}, kMostNodes},
      {g, "with a text", {}, "<a>bbbbbbbb</a>", {}, kMostNodes},
      {g, "with names of their own", {}, "<abcdef@/>", {}, kMostNodes},
      {g, "with white space between", {}, "<a/>\r\n          ", {}, kMostNodes},
      {g, "in pairs", {}, "<a><b/></a>", {}, kMostNodes / 2},
      {g, "with an attribute", {}, "<a b=\"@\"/>", {}, kMostNodes / 2},
      {g, "with an attribute of its own", {}, "<a b@=\"\"/>", {}, kMostNodes / 2},
      {g, "with two attributes", {}, "<a b=\"\" c=\"\"/>", {}, kMostNodes / 3},
      {g,
       "with ten attributes",
       {},
       "<a b0=\"\" b1=\"\" b2=\"\" b3=\"\" b4=\"\" b5=\"\" b6=\"\" b7=\"\" b8=\"\" b9=\"\"/>",
       {},
       kMostNodes / 11},
      {g, "250 deep, again and again", {}, down + up, {}, kMostNodes / 250},
      {g, "250 deep with a wide end", down, "<a/>", up, kMostNodes - 250},
      {g, "too deep", {}, "<a>", {}, SIZE_MAX, Place::kInside, true},
      {g,
       "unclosed, 250 deep",
       {},
       down + Repeated(249, "</a>"),
       {},
       SIZE_MAX,
       Place::kInside,
       true},
      {g, "a start tag of white space", "<string", " ", "/>"},
      {g, "an end tag of white space", "<string></string", " ", ">"},
      {g, "a long name", "<", "a", "/>"},
      {g, "a long name, twice", "<", "a", "></a>"},
      {g, "a long name that does not end", "<", "a", {}, SIZE_MAX, Place::kInside, true},
      {g, "long names", {}, "<" + std::string(4000, 'a') + "/>"},
      {g, "names with colons", {}, "<a:b:@/>", {}, kMostNodes},
      {g, "a name of colons", "<a", ":", "/>"},
      {g, "namespaces", {}, "<a@:b xmlns:a@=\"c\"/>", {}, kMostNodes / 2},
  };
}

std::vector<Repetition> Attributes() {
  const std::string g = "attributes";
  return {
      {g, "too many", "<string", " a@=\"\"", "/>"},
      {g, "as many as may be", "<string", " a@=\"\"", "/>", kMostNodes},
      {g, "as many as may be, long", "<string", " a@=\"bb\"", "/>", kMostNodes},
      {g, "with colons", "<string", " a:b:@=\"\"", "/>", kMostNodes},
      {g, "that declare namespaces", "<string", " xmlns:a@=\"\"", "/>", kMostNodes},
      {g, "the last one twice", "<string", " a@=\"\"", " a0=\"\"/>", kMostNodes},
      {g, "without an end", "<string", " a@=\"\"", {}, SIZE_MAX, Place::kInside, true},
      {g, "of white space", "<string", "            a@\t=\t\"\"", "/>", kMostNodes},
      {g, "a long name", "<string ", "a", "=\"\"/>"},
      {g, "a long value", "<string a=\"", "b", "\"/>"},
      {g, "a value of tabs", "<string a=\"", "\t", "\"/>"},
      {g, "a value of line ends", "<string a=\"", "\r\n", "\"/>"},
      {g, "a value of &lt;", "<string a=\"", "&lt;", "\"/>"},
      {g, "a value of &#9;", "<string a=\"", "&#9;", "\"/>"},
      {g, "a value of &#x10FFFF;", "<string a=\"", "&#x10FFFF;", "\"/>"},
      {g, "a value without an end", "<string a=\"", "b", {}, SIZE_MAX, Place::kInside, true},
      {g, "one that refuses to be saved", {}, "<a/>", "<a b=\"&quot;\"/>", kMostNodes - 2},
  };
}

std::vector<Repetition> Texts() {
  const std::string g = "text";
  const std::string open = "<string>";
  const std::string close = "</string>";
  return {
      {g, "long", open, "b", close},
      {g, "of &lt;", open, "&lt;", close},
      {g, "of &amp;", open, "&amp;", close},
      {g, "of &#9;", open, "&#9;", close},
      {g, "of &#x10FFFF;", open, "&#x10FFFF;", close},
      {g, "of numbers with many zeros", open, "&#" + std::string(4000, '0') + "65;", close},
      {g, "of line ends", open, "\n", close},
      {g, "of lines, as many as may be", open, "aaaaaaa\n", close, kMostNodes},
      {g, "of line ends, \\r\\n", open, "\r\n", close},
      {g, "of line ends, mixed", open, "\r\n\n\r", close},
      {g, "of brackets", open, "]", close},
      {g, "of two bytes a character", open, "\xC3\xA9", close},
      {g, "of three bytes a character", open, "\xE0\xA0\x88", close},
      {g, "of four bytes a character", open, "\xF0\x90\x80\x80", close},
      {g, "in single characters", open, "b<!---->", close},
      {g, "in single CDATA sections", open, "<![CDATA[b]]>", close},
      {g, "one CDATA section", open + "<![CDATA[", "b", "]]>" + close},
      {g, "a CDATA section of brackets", open + "<![CDATA[", "]", "]]>" + close},
      {g,
       "a CDATA section without an end",
       open + "<![CDATA[",
       "b",
       {},
       SIZE_MAX,
       Place::kInside,
       true},
      {g, "white space between elements", {}, " "},
      {g, "behind each element", open + close, "b"},
  };
}

std::vector<Repetition> Markup() {
  const std::string g = "markup";
  return {
      {g, "a comment", "<!--", "b", "-->"},
      {g, "a comment of single hyphens", "<!--", "-b", "-->"},
      {g, "a comment without an end", "<!--", "b", {}, SIZE_MAX, Place::kInside, true},
      {g, "comments", {}, "<!---->"},
      {g, "a processing instruction", "<?b ", "b", "?>"},
      {g, "a processing instruction of ?", "<?b ", "?", " ?>"},
      {g, "a processing instruction's name", "<?", "b", "?>"},
      {g, "processing instructions", {}, "<?b?>"},
      {g, "white space before the first <", {}, " ", {}, SIZE_MAX, Place::kBefore},
      {g, "comments before the root", {}, "<!---->", {}, SIZE_MAX, Place::kBefore},
      {g, "white space behind the root", {}, " ", {}, SIZE_MAX, Place::kBehind},
      {g, "comments behind the root", {}, "<!---->", {}, SIZE_MAX, Place::kBehind},
      {g, "a declaration of white space", "<?xml version=\"1.0\"", " ", "?>", SIZE_MAX,
       Place::kBefore},
      {g, "a long version", "<?xml version=\"1.", "0", "\"?>", SIZE_MAX, Place::kBefore},
      {g, "a long encoding", "<?xml version=\"1.0\" encoding=\"", "a", "\"?>", SIZE_MAX,
       Place::kBefore},
  };
}

std::vector<Repetition> Declarations() {
  const std::string g = "declarations";
  const std::string open = "<!DOCTYPE a [";
  const Place before = Place::kBefore;
  return {
      {g, "a chain of entities", open + "<!ENTITY a \"b\">", "<!ENTITY a@ \"&a;\">", "]>", SIZE_MAX,
       before},
      {g, "entities that end in a long one", open + "<!ENTITY a0 \"", "b", "\">]>", SIZE_MAX,
       before},
      {g, "default attributes", open, "<!ATTLIST string a@ CDATA \"b\">", "]>", SIZE_MAX, before},
      {g, "a long default attribute", open + "<!ATTLIST string a CDATA \"", "b", "\">]>", SIZE_MAX,
       before},
      {g, "types of elements", open, "<!ELEMENT a@ ANY>", "]>", SIZE_MAX, before},
      {g, "a deep content model", open + "<!ELEMENT a ", "(", {}, SIZE_MAX, before, true},
      {g, "a wide content model", open + "<!ELEMENT a (b", "|b", ")>]>", SIZE_MAX, before},
      {g, "notations", open, "<!NOTATION a@ SYSTEM \"b\">", "]>", SIZE_MAX, before},
      {g, "parameter entities", open, "<!ENTITY % a@ \"b\">", "]>", SIZE_MAX, before},
      {g, "references to a parameter entity", open + "<!ENTITY % a \"\">", "%a;", "]>", SIZE_MAX,
       before},
      {g, "an external parameter entity", open + "<!ENTITY % a SYSTEM \"/dev/zero\">", "%a;", "]>",
       SIZE_MAX, before},
      {g, "an external document type", "<!DOCTYPE a SYSTEM \"", "b", "\">", SIZE_MAX, before},
      {g, "a public document type", "<!DOCTYPE a PUBLIC \"", "b", "\" \"\">", SIZE_MAX, before},
      {g, "a document type's name", "<!DOCTYPE ", "a", ">", SIZE_MAX, before},
      {g, "a document type of white space", "<!DOCTYPE a", " ", ">", SIZE_MAX, before},
      {g, "an empty subset of white space", open, " ", "]>", SIZE_MAX, before},
      {g, "a subset of comments", open, "<!---->", "]>", SIZE_MAX, before},
      {g, "a subset without an end", open, " ", {}, SIZE_MAX, before, true},
  };
}

// What is declared before the frame, and used within it.
Shapes Expansions(const Frame& frame) {
  const std::string g = "declarations";
  const auto declared = [&](const std::string& declarations) {
    return Frame{declarations + frame.head, frame.tail};
  };
  const std::string longText(60000, 'b');
  return {
      ShapeOf({g, "a billion laughs", "<string>", "&a20;", "</string>"},
              declared(EntityChain(20, "xxxxxxxxxx"))),
      ShapeOf({g, "a deep entity, used often", "<string>", "&a2000;", "</string>"},
              declared(EntityChain(2000, "x"))),
      ShapeOf({g, "a long entity, used often", "<string>", "&a;", "</string>"},
              declared("<!DOCTYPE a [<!ENTITY a \"" + longText + "\">]>")),
      ShapeOf({g, "an entity of elements", {}, "&a;"},
              declared("<!DOCTYPE a [<!ENTITY a \"" + Repeated(10000, "<a/>") + "\">]>")),
      ShapeOf({g, "an empty entity, used often", "<string>", "&a;", "</string>"},
              declared("<!DOCTYPE a [<!ENTITY a \"\">]>")),
      ShapeOf({g, "an entity in attributes", "<string a=\"", "&a;", "\"/>"},
              declared("<!DOCTYPE a [<!ENTITY a \"" + longText + "\">]>")),
      ShapeOf({g, "a default attribute of each element", {}, "<a/>"},
              declared("<!DOCTYPE a [<!ATTLIST a b CDATA \"" + longText + "\">]>")),
      ShapeOf({g, "an external entity, used often", "<string>", "&a;", "</string>"},
              declared("<!DOCTYPE a [<!ENTITY a SYSTEM \"/dev/zero\">]>")),
      ShapeOf({g, "an undeclared entity behind a document type", "<string>", "&a;", "</string>"},
              declared("<!DOCTYPE a SYSTEM \"b\">")),
  };
}

Shapes Encodings(const Frame& frame) {
  const std::string g = "encodings";
  const std::string open = "<string>";
  const std::string close = "</string>";
  const Repetition elements = {g, {}, {}, "<a/>", {}, kMostNodes};
  const Repetition text = {g, {}, open, "b", close};
  return {
      InUtf16("UTF-16 elements", false, elements, frame),
      InUtf16("UTF-16 elements, big-endian", true, elements, frame),
      InUtf16("UTF-16 text", false, text, frame),
      GrowingUtf16(frame),
      ShapeOf({g, "latin-1 that doubles", open, "\xE9", close}, InEncoding("ISO-8859-1", frame)),
      ShapeOf({g, "latin-1 that doubles, in an attribute", "<string a=\"", "\xE9", "\"/>"},
              InEncoding("ISO-8859-1", frame)),
      ShapeOf({g, "ASCII that is none, late", open, "b", "\xE9" + close},
              InEncoding("US-ASCII", frame)),
      ShapeOf({g, "an unknown encoding", open, "b", close}, InEncoding("windows-1252", frame)),
      ShapeOf({g, "UTF-16 that is none", open, "b", close}, InEncoding("UTF-16", frame)),
      ShapeOf({g, "a byte order mark", "<string>", "b", "</string>"},
              {"\xEF\xBB\xBF" + frame.head, frame.tail}),
      ShapeOf({g, "invalid UTF-8, late", open, "b", "\xFF" + close}, frame),
      ShapeOf({g, "a surrogate, late", open, "b", "\xED\xA0\x80" + close}, frame),
      ShapeOf({g, "elements, and invalid UTF-8", {}, "<a/>", "<a>\xFF</a>", kMostNodes - 1}, frame),
  };
}

std::vector<Repetition> Damage() {
  const std::string g = "damage";
  const std::string null(1, '\0');
  const Place instead = Place::kInstead;
  return {
      {g, "nothing but null bytes", {}, null, {}, SIZE_MAX, instead},
      {g, "nothing but <", {}, "<", {}, SIZE_MAX, instead},
      {g, "nothing but &", {}, "&", {}, SIZE_MAX, instead},
      {g, "nothing but white space", {}, "\n", {}, SIZE_MAX, instead},
      {g, "nothing but a long name", "<", "a", {}, SIZE_MAX, instead},
      {g, "a null byte, late", "<string>", "b", null + "</string>"},
      {g, "an end tag that does not fit, late", {}, "<a/>", "</a>", kMostNodes},
      {g, "two roots", {}, "<a/>", {}, kMostNodes, Place::kBehind},
      {g, "a foreign root", "<a>", "<b/>", "</a>", kMostNodes, instead},
  };
}

void Append(Shapes& shapes, Shapes more) {
  std::move(more.begin(), more.end(), std::back_inserter(shapes));
}

}  // namespace

std::string Repeated(std::size_t count, const std::string& text) {
  return Join(std::vector<std::string>(count, text));
}

Shape ShapeOf(const Repetition& repetition, const Frame& frame) {
  return {repetition.group, repetition.name,
          [=](std::size_t limit) { return Fill(repetition, frame, limit); }};
}

Shapes ShapesOf(const std::vector<Repetition>& repetitions, const Frame& frame) {
  Shapes shapes;
  std::transform(repetitions.begin(), repetitions.end(), std::back_inserter(shapes),
                 [&](const Repetition& repetition) { return ShapeOf(repetition, frame); });
  return shapes;
}

Shapes XmlShapes(const Frame& frame) {
  Shapes shapes;
  for (const auto& repetitions :
       {Elements(), Attributes(), Texts(), Markup(), Declarations(), Damage()}) {
    Append(shapes, ShapesOf(repetitions, frame));
  }
  Append(shapes, Expansions(frame));
  Append(shapes, Encodings(frame));
  return shapes;
}

}  // namespace shapes
