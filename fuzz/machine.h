// The throw-away machine that every fuzz target runs on, and the few words that they are written
// in.
#ifndef KXL_FUZZ_MACHINE_H
#define KXL_FUZZ_MACHINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "esd/xml_document.h"

// Makes the machine: an empty folder in the temporary folder (TMPDIR; best in memory) that goes
// with the process, the KXL_ROOT of the library, with its HOME and XDG_RUNTIME_DIR in it.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

// Each target's body: one input.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace fuzz {

// An input is some fields, each up to a '|', and then the rest: a file's content.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t size)
      : rest_(reinterpret_cast<const char*>(bytes), size) {}

  std::string Field();         // empty when there are no more
  std::int32_t NumberField();  // 0 for what is none
  std::string Rest() const { return std::string(rest_); }

 private:
  std::string_view rest_;
};

// Where files lie on the machine.
std::string Path(std::string_view belowRoot);
std::string DataPath(std::string_view name);  // in the user's data folder

// What does not exist has no content. Put makes missing folders, and removes the file
// for an empty content.
bool Exists(const std::string& path);
std::string Contents(const std::string& path);
void Put(const std::string& path, std::string_view contents);

// The element as text, without the line ends, of which a carriage return reads back as a line feed.
std::string Printed(const esd::XMLNodePointer& element);

// Ends the process, with the text, when what has to hold does not.
void Check(bool holds, const char* what);

}  // namespace fuzz

#endif  // KXL_FUZZ_MACHINE_H
