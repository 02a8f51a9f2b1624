#include "kxl/log_view.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

#include "kxl/settings.h"
#include "platform/regular_file.h"

namespace tool {

namespace {

struct Entry {
  std::string time;  // of the same length everywhere, so that times compare as texts
  const char* source;
  std::string text;
};

constexpr std::size_t kTimeLength = std::string_view("2008-03-17T09:05:41").size();

bool StartsWithTime(std::string_view line) {
  return line.size() >= kTimeLength + 2 && line[4] == '-' && line[10] == 'T' &&
         line.substr(kTimeLength, 2) == ": ";
}

std::string Problem(int error) {
  if (error == EFBIG) {
    return " is longer than " + std::to_string(kxl::kMaximumFileSize >> 20U) + " MiB";
  }
  return " cannot be opened or read: " + std::generic_category().message(error);
}

// One of the two files, and how much of it was printed.
class LogFile {
 public:
  LogFile(const char* source, std::string path) : source_(source), path_(std::move(path)) {}

  // Adds the entries that are new.
  void Read(Output& output, std::vector<Entry>& entries) {
    std::string text;
    switch (kxl::ReadRegularFile(path_, text)) {
      case kxl::OpenStatus::kOpened:
        break;
      case kxl::OpenStatus::kMissing:
        return;
      default:
        if (!hasFailed_) output.Error(path_ + Problem(errno));
        hasFailed_ = true;
        return;
    }
    std::size_t start = text.starts_with(printed_) ? printed_.size() : AfterCut(text);
    const std::size_t end = text.rfind('\n') + 1;  // a last line may be half written
    while (start < end) {
      const std::size_t next = text.find('\n', start) + 1;
      Add(text.substr(start, next - start - 1), entries);
      start = next;
    }
    printed_ = text.substr(0, end);
  }

 private:
  // A long log is cut to its end now and then: the line that was printed last is in it somewhere.
  std::size_t AfterCut(const std::string& text) const {
    if (printed_.empty()) return 0;
    const std::string last = printed_.substr(printed_.rfind('\n', printed_.size() - 2) + 1);
    const std::size_t found = text.rfind(last);
    return found == std::string::npos ? 0 : found + last.size();
  }

  void Add(const std::string& line, std::vector<Entry>& entries) const {
    if (StartsWithTime(line)) {
      entries.push_back({line.substr(0, kTimeLength), source_, line.substr(kTimeLength + 2)});
    } else if (!entries.empty() && entries.back().source == source_) {
      entries.back().text += '\n' + line;  // of a text with several lines
    }
  }

  const char* source_;
  std::string path_;
  std::string printed_;
  bool hasFailed_ = false;
};

}  // namespace

void ShowLog(Output& output, Follow follow) {
  std::array<LogFile, 2> files = {LogFile("library", SettingValue("logFileLib")),
                                  LogFile("updater", SettingValue("logFile"))};
  for (;;) {
    std::vector<Entry> entries;
    for (LogFile& file : files) file.Read(output, entries);
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& one, const Entry& other) { return one.time < other.time; });
    for (Entry& entry : entries) {
      entry.text.erase(entry.text.find_last_not_of('\n') + 1);
      output.Line({{"time", entry.time}, {"source", entry.source}, {"text", entry.text}},
                  entry.time + " " + entry.source + ": " + entry.text);
    }
    if (follow == Follow::kNo || !output.IsPrinted()) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
}

}  // namespace tool
