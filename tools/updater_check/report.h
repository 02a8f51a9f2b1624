// What a run prints: TAP, or one JSON object a line.
#ifndef KXL_TOOLS_UPDATER_CHECK_REPORT_H
#define KXL_TOOLS_UPDATER_CHECK_REPORT_H

#include <cstddef>
#include <string>
#include <vector>

#include "updater_check/check.h"

namespace conformance {

struct Result {
  enum class Kind { kHolds, kBroken, kSkipped };
  Kind kind = Kind::kHolds;
  std::string expected;  // when it is broken, and the next two
  std::string seen;
  std::vector<std::string> files;
  std::string reason;  // when it was skipped
};

// A result as the body's process hands it to the one that has started it, and back; a text that is
// none, because the body has died, is a broken rule.
std::string Pack(const Result& result);
Result Unpack(const std::string& text);

class Report {
 public:
  explicit Report(bool json) : json_(json) {}

  void Begin(std::size_t count) const;
  void Add(const Check& check, const Result& result);
  void BailOut(const std::string& reason) const;

  bool HoldsAll() const { return broken_ == 0; }

 private:
  bool json_;
  std::size_t number_ = 0;
  std::size_t broken_ = 0;
};

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_REPORT_H
