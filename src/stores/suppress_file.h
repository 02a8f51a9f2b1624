// The holds that applications have put on update notices: suppress_all.dat in the user's data
// folder, read by the updater too. One hold a line, its end in UTC, lines end with CR and LF:
//   com.example.editor<tab>2008-03-17 21:05:41
// No file: no holds. It is replaced as a whole, through a companion named by appending '_'.
#ifndef KXL_STORES_SUPPRESS_FILE_H
#define KXL_STORES_SUPPRESS_FILE_H

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "esd/resource_locker.h"

namespace kxl {

inline constexpr std::uint32_t kLongestHold = 43200;  // seconds, twelve hours

inline constexpr char kSuppressFileName[] = "suppress_all.dat";

struct Hold {
  std::string appId;
  std::time_t end;  // seconds since 1970, UTC
};

// The holds, for one request: Lock, Read, changes, WriteBack. Releases the lock at its end.
class SuppressFile {
 public:
  explicit SuppressFile(const std::string& path);

  bool Lock();  // waits for 3 seconds at most

  // Reads the file and sweeps it: lines that are no holds and holds that have ended are dropped,
  // and none ends later than kLongestHold from now. False when the file cannot be read, or the
  // clock stands so that a hold's end could be written but not read (see kLastUtc). Throws
  // std::exception when a line has a time that does not exist; the file stays as it is then, until
  // somebody mends that line.
  bool Read(std::time_t now);

  // In the order of the file.
  const std::vector<Hold>& Holds() const { return holds_; }
  // The first hold of that identifier, compared byte for byte; null for none.
  const Hold* Find(std::string_view appId) const;
  // The hold that ends last, the earlier one in the file of several; null without holds.
  const Hold* Longest() const;

  // Removes the first hold of that identifier.
  void Clear(std::string_view appId);
  // Adds a hold at the end.
  void Add(const std::string& appId, std::time_t end);

  // Writes the holds when anything has changed, or removes the file when none is left; one that may
  // not be removed is emptied. False when that fails, and the file still has other holds than this
  // object: it is as it was then. One that only has ended ones left is as good as none.
  bool WriteBack();

 private:
  void ReadLine(std::string_view line);
  void Sweep(std::time_t now);

  std::string path_;
  esd::ResourceLocker lock_;
  std::vector<Hold> holds_;
  bool isChanged_ = false;
  bool isCleared_ = false;  // a hold that was running was taken off
};

}  // namespace kxl

#endif  // KXL_STORES_SUPPRESS_FILE_H
