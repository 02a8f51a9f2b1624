// The document tree, against expat without a tree and against other trees.
#include <libxml/parser.h>
#include <libxml/xmlsave.h>

#include <memory>
#include <ostream>
#include <pugixml.hpp>
#include <streambuf>

#include "bench/machine.h"
#include "bench/minimum.h"
#include "bench/rows.h"
#include "esd/xml_parser.h"
#include "esd/xml_writer.h"

namespace bench {

namespace {

// Takes everything and keeps nothing.
class Nowhere : public std::streambuf {
 protected:
  std::streamsize xsputn(const char* /*text*/, std::streamsize size) override { return size; }
  int overflow(int character) override { return character; }
};

struct XmlDeleter {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};

void AddParsing(const std::string& path) {
  const auto library = [=] {
    esd::ExpatDOMBuilder builder;
    Check(builder.Init() && builder.ParseFile(path, false), "a list does not parse");
  };
  const auto minimum = [=] { Parse(path); };
  const auto libxml2 = [=] {
    const std::unique_ptr<xmlDoc, XmlDeleter> document(xmlReadFile(path.c_str(), nullptr, 0));
    Check(document != nullptr, "libxml2 has failed");
  };
  const auto pugixml = [=] {
    pugi::xml_document document;
    Check(document.load_file(path.c_str()), "pugixml has failed");
  };
  AddRow("XML: parse 1000 applications into a tree",
         {Timed(kLibrary, library), Timed(kMinimum, minimum), Timed("libxml2", libxml2),
          Timed("pugixml", pugixml)});
}

void AddWriting(const std::string& path) {
  const auto builder = std::make_shared<esd::ExpatDOMBuilder>();
  const auto document = std::make_shared<pugi::xml_document>();
  const std::shared_ptr<xmlDoc> other(xmlReadFile(path.c_str(), nullptr, 0), XmlDeleter());
  Check(builder->Init() && builder->ParseFile(path, false) && document->load_file(path.c_str()) &&
            other != nullptr,
        "a list does not parse");
  const auto library = [=] {
    Nowhere nowhere;
    std::ostream stream(&nowhere);
    esd::WriteNode(stream, *builder->Document());
  };
  const auto pugixml = [=] {
    Nowhere nowhere;
    std::ostream stream(&nowhere);
    document->save(stream, "", pugi::format_raw);
  };
  const auto libxml2 = [=] {
    const auto drop = [](void* /*context*/, const char* /*text*/, int size) { return size; };
    xmlSaveCtxt* save = xmlSaveToIO(drop, nullptr, nullptr, nullptr, 0);
    xmlSaveDoc(save, other.get());
    xmlSaveClose(save);
  };
  AddRow("XML: write a tree of 1000 applications",
         {Timed(kLibrary, library), Timed("pugixml", pugixml), Timed("libxml2", libxml2)});
}

}  // namespace

void AddXmlRows() {
  const std::string path = Path("thousand.xml");
  WriteFile(path, ListText(1000));
  AddParsing(path);
  AddWriting(path);
}

}  // namespace bench
