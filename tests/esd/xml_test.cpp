#include <sstream>

#include "esd/xml_document.h"
#include "esd/xml_parser.h"
#include "esd/xml_writer.h"
#include "platform/regular_file.h"
#include "support/test_folder.h"

namespace {

using namespace kxl_test;
using esd::ReadStatus;

std::string Print(const esd::XMLDocumentNode& node) {
  std::ostringstream stream;
  esd::WriteNode(stream, node);
  return stream.str();
}

// What a file with this text reads as, printed; or why it does not.
std::string ReadAndPrint(const std::string& text) {
  WriteFile(InTestFolder("file"), text);
  esd::ExpatDOMBuilder builder;
  EXPECT_TRUE(builder.Init());
  if (builder.ParseFile(InTestFolder("file"), false)) return Print(*builder.Document());
  return builder.LastRead() == ReadStatus::kDamaged ? "damaged" : "unreadable";
}

TEST(Xml, ReadsAndWrites) {
  const std::pair<std::string, std::string> cases[] = {
      {"<a>x<b/>y</a>", "<a>x<b></b>\n</a>\n"},
      {"<a z='1' b=\"2\" m=''></a>", "<a b=\"2\" m=\"\" z=\"1\"></a>\n"},
      {"<a>\n <b>t</b>\n <c/>\n</a>", "<a>\n <b>t</b>\n<c></c>\n</a>\n"},
      {"<a>&lt;&amp;&gt;&quot;&apos; \xC3\xA9</a>", "<a>&lt;&amp;&gt;&quot;&apos; \xC3\xA9</a>\n"},
      {"<?xml version='1.0' encoding='ISO-8859-1' standalone='yes'?><a>\xE9</a>",
       "<a>\xC3\xA9</a>\n"},
      {"<a>one<![CDATA[ two]]> three</a>", "<a>one two three</a>\n"}};
  for (const auto& [text, printed] : cases) {
    EXPECT_EQ(ReadAndPrint(text), kDeclaration + printed);
    EXPECT_EQ(ReadAndPrint(kDeclaration + printed), kDeclaration + printed) << "read back";
  }
  const esd::XMLNodePointer node = esd::XMLDocumentNode::NewElement("a");
  node->SetAttribute("key", "<&\"");
  EXPECT_EQ(Print(*node), "<a key=\"<&\"\"></a>") << "attributes are written as they are";
}

std::string Repeat(int count, const char* text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

std::string Nested(int depth) { return Repeat(depth, "<a>") + Repeat(depth, "</a>"); }

TEST(Xml, RefusesWhatIsNotWellFormedOrOutOfBounds) {
  // Of no use to us, and a chain of entities takes the stack, an ATTLIST the time.
  const std::string declares = "<!DOCTYPE a [<!ENTITY e \"\">]><a/>";
  for (const std::string& text :
       {std::string(), std::string("<a>"), std::string("<a></b>"), std::string("<a/><b/>"),
        std::string("text"), std::string(100, '\0'), std::string("<a>\xFF</a>"), Nested(257),
        Nested(100000), declares}) {
    EXPECT_EQ(ReadAndPrint(text), "damaged") << text.substr(0, 40);
  }
  EXPECT_TRUE(ReadAndPrint(Nested(256)).starts_with(kDeclaration));
  EXPECT_EQ(ReadAndPrint("<!DOCTYPE a SYSTEM \"/nowhere\"><a/>"),
            kDeclaration + std::string("<a></a>\n"));
  // Nodes and texts must not cost more than their size, whatever comes in which order.
  std::string shapes[] = {"<a>" + Repeat(750000, "<a/>"), "<a b='" + Repeat(8000000, "x") + "'>",
                          "<a", "<a>" + Repeat(2000000, "&lt;")};
  for (int i = 0; i < 90000; ++i) shapes[2] += " a" + std::to_string(900000 - i) + "=''";
  shapes[2] += ">";
  for (const std::string& shape : shapes) {
    EXPECT_TRUE(ReadAndPrint(shape + "</a>").starts_with(kDeclaration)) << shape.substr(0, 9);
  }
  for (const std::string& content :
       {Repeat(1000000, "<b/>"), Repeat(500000, "<b c=''/>"), Repeat(16 * 1024 * 1024, "x")}) {
    EXPECT_EQ(ReadAndPrint("<a>" + content + "</a>"), "damaged") << content.substr(0, 9);
  }
  std::string names = "<a>";
  for (int i = 0; i < 100000; ++i) names += "<a" + std::to_string(i) + "/>";
  EXPECT_EQ(ReadAndPrint(names + "<b/></a>"), "damaged") << "too many different names";
  names = "<a b='" + std::string(2100000, 'b') + "'";
  for (int i = 0; i < 100000; ++i) names += " a" + std::to_string(i) + "=''";
  EXPECT_EQ(ReadAndPrint(names + "/>"), "damaged") << "before expat has read them";
  const std::string lines(esd::kMaximumTextPieces, '\n');
  EXPECT_NE(ReadAndPrint("<a>" + lines + "</a>"), "damaged");
  EXPECT_EQ(ReadAndPrint("<a>]" + lines + "</a>"), "damaged") << "too many pieces of text";
}

TEST(Xml, WritesNoMoreThanIsRead) {
  const esd::XMLNodePointer document = esd::XMLDocumentNode::NewDocument();
  const esd::XMLNodePointer root = esd::FindOrCreateChild(document, "a");
  const esd::XMLNodePointer child = esd::XMLDocumentNode::NewElement("b");
  for (std::size_t i = 1; i < esd::kMaximumElements; ++i) root->AddChild(child);
  EXPECT_TRUE(esd::ReadsBack(*document));
  root->AddChild(child);
  EXPECT_FALSE(esd::ReadsBack(*document)) << "too many";

  esd::XMLNodePointer node = esd::XMLDocumentNode::NewDocument();
  const esd::XMLNodePointer deep = node;
  for (std::size_t i = 0; i < esd::kMaximumDepth; ++i) node = esd::FindOrCreateChild(node, "a");
  EXPECT_TRUE(esd::ReadsBack(*deep));
  esd::FindOrCreateChild(node, "a");
  EXPECT_FALSE(esd::ReadsBack(*deep)) << "too deep";
  for (const auto& [size, character] :
       {std::pair(kxl::kMaximumFileSize, 'x'), {esd::kMaximumTextPieces + 1, '\n'}}) {
    child->SetText(std::string(size, character));
    EXPECT_FALSE(esd::ReadsBack(*child)) << size;
  }
}

TEST(Xml, TellsMissingEmptyLargeAndUnreadableFilesApart) {
  WriteFile(InTestFolder("empty"), "");
  WriteFile(InTestFolder("large"), "<a/>");
  fs::resize_file(InTestFolder("large"), kxl::kMaximumFileSize + 1);
  // When "large" is opened, the default no longer counts.
  const std::tuple<std::string, ReadStatus, bool> cases[] = {
      {InTestFolder("missing"), ReadStatus::kMissing, true},
      {InTestFolder("empty"), ReadStatus::kDamaged, true},
      {InTestFolder("large"), ReadStatus::kDamaged, false},
      {TestFolder(), ReadStatus::kFolder, true},
      {"/dev/zero", ReadStatus::kDamaged, true}};
  for (const auto& [path, status, takesDefault] : cases) {
    for (const bool defaultResult : {true, false}) {
      esd::ExpatDOMBuilder builder;
      builder.Init();
      EXPECT_EQ(builder.ParseFile(path, defaultResult), defaultResult && takesDefault) << path;
      EXPECT_EQ(builder.LastRead(), status) << path;
    }
  }
}

TEST(Xml, FindsChildrenByExactName) {
  const esd::XMLNodePointer root = esd::XMLDocumentNode::NewElement("root");
  for (const char* name : {"one", "two", "two", "wh ite"}) {
    root->AddChild(esd::XMLDocumentNode::NewElement(name));
  }
  root->AddChild({});
  EXPECT_EQ(esd::FindOrCreateChild(root, "two").get(), root->GetChildren()[1]);
  EXPECT_EQ(esd::FindUniqueChild(root.get(), esd::NameIs("one")), root->GetChildren()[0]);
  for (const char* name : {"two", "three", "wh ite", "ONE", ""}) {
    EXPECT_EQ(esd::FindUniqueChild(root.get(), esd::NameIs(name)), nullptr) << name;
  }
  const esd::SearchResult two = esd::SearchResult(root).FindChildren(esd::NameIs("two"));
  EXPECT_EQ(std::distance(two.begin(), two.end()), 2);
  EXPECT_EQ(two.First().get(), root->GetChildren()[1]);
  EXPECT_TRUE(root->RemoveChild(two.First()));
  EXPECT_FALSE(root->RemoveChild(two.First()));
  EXPECT_EQ(root->GetChildren().size(), 3U);
}

TEST(Xml, AnElementOutlivesItsDocument) {
  WriteFile(InTestFolder("file"), "<r><a n=\"a longer value than usual\"/><b>text</b></r>");
  esd::XMLNodePointer kept;
  {
    esd::ExpatDOMBuilder builder;
    ASSERT_TRUE(builder.Init() && builder.ParseFile(InTestFolder("file"), false));
    const esd::XMLNodePointer root = esd::FindChild(builder.Document(), "r");
    kept = esd::FindChild(root, "a");
    kept->AddChild(esd::XMLDocumentNode::NewElement("from elsewhere"));
    kept->AddChild(esd::FindChild(root, "b"));
  }
  kept->SetText(std::string(100, 'x'));
  EXPECT_EQ(kept->GetAttribute("n"), "a longer value than usual");
  EXPECT_EQ(kept->GetChildren()[0]->GetName(), "from elsewhere");
  EXPECT_EQ(esd::FindChild(kept, "b")->GetText(), "text");
  EXPECT_EQ(esd::CopyNode(kept)->GetText(), std::string(100, 'x'));
}

}  // namespace
