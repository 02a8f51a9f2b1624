#include "util/trace_log.h"

#include <array>
#include <cstddef>
#include <ctime>
#include <new>

#include "platform/failure_report.h"
#include "platform/file_system.h"
#include "platform/log_trim.h"
#include "util/format_string.h"
#include "util/utc_time.h"

namespace kxl {

namespace {

constexpr std::uint64_t kTrimAbove = 50000;  // bytes
constexpr std::uint64_t kTrimmedSize = 30000;

std::string TimeStamp() { return FormatUtc(std::time(nullptr), 'T'); }

void AppendLine(std::string& queue, const std::string& stamp, std::string_view text) {
  queue.reserve(queue.size() + stamp.size() + 2 + text.size() + 1);  // all of it or nothing
  queue += stamp;
  queue += ": ";
  queue += text;
  queue += '\n';
}

void LogFailure(const char* error, const std::string& path) {
  std::string text = error;
  text += ' ';
  text += path;
  LogMessage(kLogDetail, Flush::kYes, text);
}

std::string FilePath(const std::string& path) { return path.empty() ? "/tmp/KX4.log" : path; }

}  // namespace

// Ends the log at process exit or dlclose. The object itself stays: threads of the host that still
// run then find a log that is off.
class TraceLogCloser {
 public:
  TraceLogCloser() = default;
  ~TraceLogCloser() { TraceLog::object_.Shutdown(); }
  TraceLogCloser(const TraceLogCloser&) = delete;
  TraceLogCloser& operator=(const TraceLogCloser&) = delete;
};

// A child that a host forks while another thread is in here must find the mutex free. The lines
// that wait are its parent's to write, and so is the end of the file.
TraceLog::TraceLog() {
  CallAroundFork([] { object_.mutex_.Hold(); }, [] { object_.mutex_.LetGo(); },
                 [] {
                   object_.isForked_ = true;
                   if (object_.mutex_.LetGo()) object_.queue_.clear();
                 });
}

namespace {

alignas(TraceLog) std::array<std::byte, sizeof(TraceLog)> storage;

}  // namespace

// Made when the library is loaded: a child forked while another thread was making it at its first
// use would wait for that thread, which is not in it, for ever.
TraceLog& TraceLog::object_ = *new (storage.data()) TraceLog;

namespace {

const TraceLogCloser closer;

}  // namespace

TraceLog& TraceLog::Instance(const std::string& path, int level, Mode mode) {
  // What every message asks: nothing changes when a file is open or the log is off.
  const bool isMessage = mode == Mode::kSwitch && path.empty() && level < 1;
  if (!isMessage || (!IsOpen() && Level() > 0)) object_.Configure(path, level, mode);
  return object_;
}

// Closing and opening are one step for other threads, or a message in between would find no file
// and turn the log off.
void TraceLog::Configure(const std::string& path, int level, Mode mode) {
  const std::string stamp = TimeStamp();
  const ForkLock lock(mutex_);
  if (!lock.IsHeld()) return;
  wasConfigured_ = true;
  if (mode == Mode::kClose || (!path.empty() && stream_)) {
    Close(stamp);
    if (mode != Mode::kSwitch) return;
  }
  if (!stream_) Open(path, level, stamp);
}

bool TraceLog::Open(const std::string& path, int level, const std::string& stamp) {
  level_ = level;
  ListenToFailures(level < kLogDetail ? nullptr : LogFailure);
  if (level < 1) return false;
  path_ = path;
  isForked_ = false;
  // Long logs are cut here, so that none grows from one run of the hosts to the next.
  if (!path_.empty()) TrimLog(path_, kTrimAbove, kTrimmedSize);
  OpenStream();
  AppendLine(queue_, stamp, ">>> Kelda Updater Log Begin >>>");
  return IsOpen();
}

void TraceLog::OpenStream() {
  // Anybody may lay a link under a name in the temporary folder.
  const Links links = path_.empty() || IsInTemporaryFolder(path_) ? Links::kRefuse : Links::kFollow;
  stream_ = std::make_unique<ESDofstream>(FilePath(path_), FileAccess::kAppend, links);
  if (!stream_->IsOpen()) {
    stream_.reset();
    level_ = 0;
  }
  isOpen_ = stream_ != nullptr;
}

int TraceLog::Close(const std::string& stamp) {
  if (Level() < 1) return 0;
  if (stream_) {
    if (!isForked_) AppendLine(queue_, stamp, "<<< Kelda Updater Log End <<<\n\n");
    FlushQueue();
    stream_.reset();
    isOpen_ = false;
  }
  return 1;
}

void TraceLog::Write(int level, Flush flush, std::string_view text) {
  if (!Wants(level)) return;
  const std::string stamp = TimeStamp();
  const ForkLock lock(mutex_);
  if (!lock.IsHeld()) return;
  AppendLine(queue_, stamp, text);
  if (flush == Flush::kYes) FlushQueue();
}

void TraceLog::FlushQueue() {
  if (Level() < 1 || !stream_) return;
  // Another process has cut the log and put a new file in its place.
  if (!queue_.empty() && stream_->IsUnlinked()) OpenStream();
  if (!stream_) return;
  stream_->Write(queue_);  // what a full disk does not take is not tried again
  queue_.clear();
}

void TraceLog::Shutdown() noexcept {
  try {
    Configure({}, 0, Mode::kClose);
    const ForkLock lock(mutex_);
    if (lock.IsHeld()) {
      std::string().swap(queue_);  // the object stays, and would keep the memory
      std::string().swap(path_);
    }
  } catch (...) {
    // Without memory for the end marker the file ends without one.
  }
  level_ = 0;
}

namespace {

// The log for a line of that level; null when it is not to be written.
TraceLog* LogFor(int level) {
  if (TraceLog::IsOpen() && !TraceLog::Wants(level)) return nullptr;  // at no cost
  TraceLog& log = TraceLog::Instance({}, 0, TraceLog::Mode::kSwitch);
  return TraceLog::Wants(level) ? &log : nullptr;
}

}  // namespace

void LogMessage(int level, Flush flush, std::string_view text) {
  if (TraceLog* log = LogFor(level)) log->Write(level, flush, text);
}

void LogValue(int level, Flush flush, std::string_view name, std::string_view value) {
  TraceLog* log = LogFor(level);
  if (log == nullptr) return;
  std::string text;
  text.reserve(name.size() + 3 + value.size());
  text += name;
  text += " = ";
  text += value;
  log->Write(level, flush, text);
}

void LogNumber(int level, Flush flush, std::string_view name, std::uint32_t number) {
  TraceLog* log = LogFor(level);
  if (log == nullptr) return;
  std::string text;
  FormatString(text, "%0 = %1", {name, number});
  log->Write(level, flush, text);
}

int DefaultLogLevel() { return TraceLog::object_.wasConfigured_ ? TraceLog::Level() : kLogNormal; }

bool IsLogOpen(const std::string& path, int level) {
  return TraceLog::Instance(path, level, TraceLog::Mode::kSwitch).IsOpen();
}

}  // namespace kxl
