// The trace log: one text file a process, the library's only way to tell what it did.
//
// Each line reads <UTC time>": "<text>, for example
//   2008-03-17T09:05:41: In KXLGetVersion(...)
// An opening of the file begins with the text ">>> Kelda Updater Log Begin >>>" and ends with
// "<<< Kelda Updater Log End <<<" and two empty lines. Texts are written as they are: one that
// holds line feeds takes several lines of the file. Several processes may append to one file; each
// writes whole lines.
#ifndef KXL_UTIL_TRACE_LOG_H
#define KXL_UTIL_TRACE_LOG_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "esd/streams.h"
#include "platform/thread_guards.h"

namespace kxl {

// A line is written when logging is on and the configured level is not below the line's.
inline constexpr int kLogEssential = 1;
inline constexpr int kLogNormal =
    2;  // calls, results, decisions; also the default configured level
inline constexpr int kLogDetail = 3;  // listings, and why a file operation has failed

// Whether a line is on its way to the disk before the call returns, or waits for the next flushing
// line or the end of the log.
enum class Flush : bool { kNo, kYes };

// These write a line: a text, "<name> = <value>" or "<name> = <number>". A message that comes
// before the log was configured turns logging off. Safe from any thread, also while the process
// exits; none throws when logging is off.
void LogMessage(int level, Flush flush, std::string_view text);
void LogValue(int level, Flush flush, std::string_view name, std::string_view value);
void LogNumber(int level, Flush flush, std::string_view name, std::uint32_t number);

// Configures the log: closes a file that is open and opens the one at path ("/tmp/KX4.log" for an
// empty path). A level below 1 turns logging off and makes no file. Answers whether a file is open.
bool IsLogOpen(const std::string& path, int level);

// The level in force; kLogNormal before the log was ever configured.
int DefaultLogLevel();

// The process's log object.
class TraceLog {
 public:
  enum class Mode {
    kSwitch = 0,     // to a new file, when a path is given
    kClose = 1,      // whatever path is given
    kCloseOnly = 2,  // when a path is given and a file is open; opens nothing then
  };

  // Unless it closed something without switching, and while no file
  // is open, it tries to open one as IsLogOpen does. The log is closed when the process exits or
  // unloads the library.
  static TraceLog& Instance(const std::string& path, int level, Mode mode);

  static int Level() { return level_.load(std::memory_order_relaxed); }
  static bool IsOpen() { return isOpen_.load(std::memory_order_acquire); }
  // Whether a line of this level would be written.
  static bool Wants(int level) { return Level() > 0 && Level() >= level; }

  void Write(int level, Flush flush, std::string_view text);

 private:
  friend class TraceLogCloser;
  friend int DefaultLogLevel();

  TraceLog();
  static TraceLog& object_;
  void Configure(const std::string& path, int level, Mode mode);
  void Shutdown() noexcept;

  // These expect the mutex to be held. The stamps were taken before, so that nobody waits for one.
  bool Open(const std::string& path, int level, const std::string& stamp);
  void OpenStream();
  int Close(const std::string& stamp);
  void FlushQueue();

  // There is one log; these can be asked before it is made.
  static constinit inline std::atomic<int> level_{0};
  static constinit inline std::atomic<bool> isOpen_{false};
  std::atomic<bool> wasConfigured_{false};
  ForkMutex mutex_;        // guards what follows, and every change of what is above
  std::string path_;       // empty: the fall-back
  bool isForked_ = false;  // the file was opened by the parent, who ends it
  std::unique_ptr<ESDofstream> stream_;
  std::string queue_;  // lines that wait to be written
};

}  // namespace kxl

#endif  // KXL_UTIL_TRACE_LOG_H
