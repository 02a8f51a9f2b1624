// What the two shared lists, of applications and of missing components, have in common: one root
// with a record for each application, in a journaled file of mode 0664. Unknown elements and
// attributes of a record stay with it. A list without records has no file.
#ifndef KXL_STORES_RECORD_LIST_H
#define KXL_STORES_RECORD_LIST_H

#include <cstddef>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "esd/journaled_xml_file.h"
#include "esd/xml_document.h"

namespace kxl {

class RecordList : public JournaledXMLLockedFile {
 protected:
  struct Layout {
    std::string_view root;    // the elements' names
    std::string_view record;  // ... of one application
    std::string_view key;     // the record's attribute that holds the application's identifier
    // Children with a text, once each: a record without one of them is dropped at the next load.
    std::vector<esd::NameIs> required;
  };

  // Waits for the file's lock for 2 seconds at most, with every operation that does not hold it.
  explicit RecordList(Layout layout);

  // Those who hold the lock and have loaded the file use these. Identifiers are compared byte for
  // byte.
  esd::SearchResult Records() const;
  bool IsRecordOf(const esd::XMLDocumentNode& node, const std::string& appId) const;
  esd::XMLNodePointer FirstRecord(const std::string& appId) const;  // null for none
  std::size_t RemoveRecords(const std::string& appId);              // answers how many
  const esd::XMLNodePointer& Root() const { return root_; }

  // Writes the list, or removes the file when the root is empty. False when that fails.
  bool SaveOrErase();

  bool OnLoaded(const esd::XMLNodePointer& document) override;
  bool SetFileMode(ESDofstream& file) override;

 private:
  bool IsComplete(const esd::XMLDocumentNode& record) const;

  const Layout layout_;
  esd::XMLNodePointer root_;
};

// Whether the record has exactly one child of that name, with that text.
bool ChildTextIs(const esd::XMLDocumentNode& record, std::string_view name, std::string_view text);

// Runs an operation in which nothing but memory can fail beyond what it answers.
template <typename Operation>
bool Attempt(Operation operation) {
  try {
    return operation();
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace kxl

#endif  // KXL_STORES_RECORD_LIST_H
