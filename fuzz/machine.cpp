#include "fuzz/machine.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "esd/number_text.h"
#include "esd/xml_writer.h"

namespace fuzz {

namespace {

namespace fs = std::filesystem;

class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / "kxl-fuzz-XXXXXX") {
    Check(mkdtemp(path_.data()) != nullptr, "a temporary folder can be made");
    path_ = fs::canonical(path_);
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

const std::string& Root() {
  static const Folder folder;
  return folder.Path();
}

}  // namespace

std::string Input::Field() {
  const std::size_t end = rest_.find('|');
  std::string field(rest_.substr(0, end));
  rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
  return field;
}

std::int32_t Input::NumberField() {
  std::int32_t number = 0;
  esd::ParseInteger(Field(), number);
  return number;
}

std::string Path(std::string_view belowRoot) { return Root() + "/" + std::string(belowRoot); }

std::string DataPath(std::string_view name) {
  return Path("home/.local/share/Kelda/Updater6/" + std::string(name));
}

bool Exists(const std::string& path) { return fs::exists(path); }

std::string Contents(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void Put(const std::string& path, std::string_view contents) {
  if (contents.empty()) {
    fs::remove(path);
    return;
  }
  std::ofstream file(path, std::ios::binary);
  if (!file.is_open()) {
    fs::create_directories(fs::path(path).parent_path());
    file.open(path, std::ios::binary);
  }
  file << contents;
}

std::string Printed(const esd::XMLNodePointer& element) {
  std::ostringstream stream;
  esd::WriteNode(stream, *element);
  std::string text = stream.str();
  std::erase_if(text, [](char character) { return character == '\r' || character == '\n'; });
  return text;
}

void Check(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "does not hold: " << what << std::endl;
  std::abort();
}

}  // namespace fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  setenv("KXL_ROOT", fuzz::Path("").c_str(), 1);
  setenv("HOME", fuzz::Path("home").c_str(), 1);
  setenv("XDG_RUNTIME_DIR", fuzz::Path("run").c_str(), 1);
  for (const char* name : {"XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) unsetenv(name);
  std::filesystem::create_directories(fuzz::DataPath(""));  // no input waits for another to make it
  return 0;
}
