#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "esd/xml_bound_object.h"
#include "esd/xml_document.h"
#include "esd/xml_parser.h"
#include "esd/xml_writer.h"
#include "platform/regular_file.h"
#include "support/test_folder.h"

namespace {

using esd::ReadStatus;
using kxl_test::InTestFolder;
using kxl_test::WriteFile;

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

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\n";

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
}

std::string Nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<a>";
  for (int i = 0; i < depth; ++i) text += "</a>";
  return text;
}

TEST(Xml, RefusesWhatIsNotWellFormedOrOutOfBounds) {
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"" + std::string(1000, 'x') + "\">";
  for (int i = 1; i < 8; ++i) {
    std::string tenTimes;
    for (int n = 0; n < 10; ++n) tenTimes += "&e" + std::to_string(i - 1) + ";";
    bomb += "<!ENTITY e" + std::to_string(i) + " \"" + tenTimes + "\">";
  }
  for (const std::string& text :
       {std::string(), std::string("<a>"), std::string("<a></b>"), std::string("<a/><b/>"),
        std::string("text"), std::string(100, '\0'), std::string("<a>\xFF</a>"), Nested(257),
        Nested(100000), bomb + "]><a>&e7;</a>"}) {
    EXPECT_EQ(ReadAndPrint(text), "damaged") << text.substr(0, 40);
  }
  EXPECT_TRUE(ReadAndPrint(Nested(256)).starts_with(kDeclaration));
  // Many attributes in the least welcome order must not take forever.
  std::string attributes;
  for (int i = 100000; i > 0; --i) attributes += " a" + std::to_string(1000000 + i) + "=''";
  EXPECT_TRUE(ReadAndPrint("<a" + attributes + "/>").starts_with(kDeclaration));
  std::filesystem::resize_file(InTestFolder("file"), kxl::kMaximumFileSize + 1);
  esd::ExpatDOMBuilder builder;
  builder.Init();
  EXPECT_FALSE(builder.ParseFile(InTestFolder("file"), true));
  EXPECT_EQ(builder.LastRead(), ReadStatus::kDamaged);
}

TEST(Xml, TellsMissingEmptyAndUnreadableFilesApart) {
  WriteFile(InTestFolder("empty"), "");
  const std::pair<std::string, ReadStatus> cases[] = {
      {InTestFolder("missing"), ReadStatus::kMissing},
      {InTestFolder("empty"), ReadStatus::kDamaged},
      {kxl_test::TestFolder(), ReadStatus::kFolder},
      {"/dev/zero", ReadStatus::kDamaged}};
  for (const auto& [path, status] : cases) {
    for (const bool defaultResult : {true, false}) {
      esd::ExpatDOMBuilder builder;
      builder.Init();
      EXPECT_EQ(builder.ParseFile(path, defaultResult), defaultResult) << path;
      EXPECT_EQ(builder.LastRead(), status) << path;
    }
  }
}

TEST(Xml, AttributesAreWrittenAsTheyAre) {
  const esd::XMLNodePointer node = esd::XMLDocumentNode::NewElement("a");
  node->SetAttribute("key", "<&\"");
  EXPECT_EQ(Print(*node), "<a key=\"<&\"\"></a>");
}

TEST(Xml, FindsChildrenByExactName) {
  const esd::XMLNodePointer root = esd::XMLDocumentNode::NewElement("root");
  for (const char* name : {"one", "two", "two", "wh ite"}) {
    esd::FindOrCreateChild(root, "unused");
    root->AddChild(esd::XMLDocumentNode::NewElement(name));
  }
  root->AddChild({});
  EXPECT_EQ(root->GetChildren().size(), 5U);
  EXPECT_NE(esd::FindUniqueChild(root.get(), "one"), nullptr);
  for (const char* name : {"two", "three", "wh ite", "ONE", ""}) {
    EXPECT_EQ(esd::FindUniqueChild(root.get(), name), nullptr) << name;
  }
  EXPECT_EQ(esd::FindUniqueChild(nullptr, "one"), nullptr);
  EXPECT_FALSE(esd::FindOrCreateChild({}, "one"));
  EXPECT_EQ(esd::FindChild(root, "two"), root->GetChildren()[2]);

  const esd::SearchResult two = esd::SearchResult(root).FindChildren(esd::NameIs("two"));
  EXPECT_EQ(std::distance(two.begin(), two.end()), 2);
  EXPECT_EQ(two.First(), root->GetChildren()[2]);
  EXPECT_TRUE(two.FindChildren(esd::NameIs("two")).IsEmpty());
  EXPECT_TRUE(root->RemoveChild(two.First()));
  EXPECT_FALSE(root->RemoveChild(two.First()));
}

TEST(Xml, CopiesStandOnTheirOwn) {
  const esd::XMLNodePointer node = esd::XMLDocumentNode::NewElement("a");
  node->SetAttribute("k", "v");
  esd::FindOrCreateChild(node, "b")->SetText("text");
  const std::string before = Print(*node);
  const esd::XMLNodePointer parent = esd::XMLDocumentNode::NewElement("parent");
  const esd::XMLNodePointer copy = esd::DeepCopyNode(node, parent);
  EXPECT_EQ(parent->GetChildren()[0], copy);
  copy->GetChildren()[0]->SetText("changed");
  EXPECT_EQ(Print(*node), before);
  EXPECT_EQ(Print(*esd::CloneNode(node)), before);
  EXPECT_TRUE(esd::CopyNode(node)->GetChildren().empty());
  EXPECT_FALSE(esd::CopyNode({}));
  EXPECT_FALSE(esd::CloneNode({}));
  EXPECT_THROW(esd::DeepCopyNode({}, parent), std::runtime_error);
}

class Record : public kxl::XMLBoundObject<Record> {
 public:
  static constexpr const char* ElementName() { return "Record"; }
  using XMLBoundObject::GetAttribute;
  using XMLBoundObject::GetChildText;
  using XMLBoundObject::SetAttribute;
  using XMLBoundObject::SetChildText;
  using XMLBoundObject::XMLBoundObject;
};

TEST(XmlBoundObject, ReadsAndWritesItsElement) {
  Record record;
  Record sameElement(record.Node());
  std::string text = "old";
  std::int32_t number = 7;
  EXPECT_FALSE(record.GetAttribute("a", text) || record.GetChildText("c", text));
  EXPECT_TRUE(record.SetAttribute("a", "1x") && record.SetChildText("c", "child"));
  EXPECT_FALSE(sameElement.GetAttribute("a", number));
  EXPECT_EQ(text + std::to_string(number), "old7");
  EXPECT_TRUE(sameElement.GetAttribute("a", text) && text == "1x");
  EXPECT_TRUE(sameElement.SetAttribute("a", -12) && record.GetAttribute("a", number));
  EXPECT_EQ(number, -12);

  record.Node()->AddChild(esd::XMLDocumentNode::NewElement("c"));
  EXPECT_FALSE(record.GetChildText("c", text)) << "two of a name";
  EXPECT_TRUE(record.SetChildText("c", "first"));
  EXPECT_EQ(Print(*record.Node()), "<Record a=\"-12\">\n<c>first</c>\n<c></c>\n</Record>");
}

}  // namespace
