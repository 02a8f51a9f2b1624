#include "updater_check/files.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "esd/xml_document.h"
#include "esd/xml_parser.h"
#include "updater_check/check.h"

namespace conformance {

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

void WriteFile(const std::string& path, std::string_view text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

void WriteWhole(const std::string& path, std::string_view text) {
  WriteFile(path + ".new", text);
  fs::rename(path + ".new", path);
}

mode_t ModeOf(const std::string& path) {
  return static_cast<mode_t>(fs::status(path).permissions());
}

void SetMode(const std::string& path, mode_t mode) {
  fs::permissions(path, static_cast<fs::perms>(mode));
}

std::size_t Count(std::string_view text, std::string_view piece) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = text.find(piece, at)) != std::string_view::npos; ++at) ++count;
  return count;
}

bool IsXml(std::string_view text) {
  esd::ExpatDOMBuilder builder;
  return builder.Init() && builder.ParseText(text);
}

std::string Element(const std::string& document, std::string_view root, std::string_view name) {
  esd::ExpatDOMBuilder builder;
  if (!builder.Init() || !builder.ParseText(document)) return "(no XML)";
  const esd::XMLNodePointer node = esd::FindChild(builder.Document(), root);
  const esd::XMLDocumentNode* child = esd::FindUniqueChild(node.get(), esd::NameIs(name));
  return child == nullptr ? "(none)" : std::string(child->GetText());
}

ConstantReader::ConstantReader(std::string path)
    : path_(std::move(path)), thread_([this](const std::stop_token& stop) {
        while (!stop.stop_requested() && !half_) Look();
      }) {}

void ConstantReader::Look() {
  std::ifstream file(path_, std::ios::binary);
  if (!file) return;
  std::ostringstream text;
  text << file.rdbuf();
  if (!IsXml(text.str())) half_ = text.str();
}

void ConstantReader::RequireWhole(std::string_view what) {
  thread_.request_stop();
  thread_.join();
  Look();
  if (half_)
    throw Broken(std::string(what), "who reads all the time has found:\n" + *half_, {path_});
}

Snapshot TakeSnapshot(const std::string& folder) {
  Snapshot snapshot;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = entry.path();
    if (entry.is_directory()) continue;
    std::ostringstream text;
    if (entry.is_symlink()) {
      text << "link to " << fs::read_symlink(path).string();
    } else if (entry.is_regular_file()) {
      text << std::oct << ModeOf(path) << ' ' << ReadFile(path);
    } else {
      text << "no regular file";
    }
    snapshot[path] = text.str();
  }
  return snapshot;
}

}  // namespace conformance
