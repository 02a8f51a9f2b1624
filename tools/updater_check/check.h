// What a check is. Each is declared once, in the table of its group's file, and a body judges what
// comes out of an updater on a private machine; a body that returns has found nothing wrong.
#ifndef KXL_TOOLS_UPDATER_CHECK_CHECK_H
#define KXL_TOOLS_UPDATER_CHECK_CHECK_H

#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace conformance {

class Machine;

enum class Bus : bool { kNo, kYes };

struct Check {
  std::string_view name;     // lower-case words with '-', its group's first
  std::string_view rule;     // the anchor in docs/updater.md that tells what is checked
  std::string_view promise;  // what holds when it passes
  void (*body)(Machine& machine);
  Bus bus = Bus::kNo;  // whether the machine has a session bus
};

// Thrown by a body when the updater has broken the rule.
struct Broken : std::exception {
  Broken(std::string expectedText, std::string seenText, std::vector<std::string> paths = {})
      : expected(std::move(expectedText)), seen(std::move(seenText)), files(std::move(paths)) {}
  const char* what() const noexcept override { return seen.c_str(); }

  std::string expected;
  std::string seen;
  std::vector<std::string> files;
};

// Thrown by a body that cannot judge here.
struct Skipped : std::exception {
  explicit Skipped(std::string text) : reason(std::move(text)) {}
  const char* what() const noexcept override { return reason.c_str(); }

  std::string reason;
};

inline void Require(bool holds, std::string_view expected, std::string_view seen,
                    std::vector<std::string> files = {}) {
  if (!holds) throw Broken(std::string(expected), std::string(seen), std::move(files));
}

// The groups, one file each.
std::span<const Check> StartingChecks();
std::span<const Check> QueryChecks();
std::span<const Check> ListChecks();
std::span<const Check> ComponentChecks();
std::span<const Check> PreferenceChecks();
std::span<const Check> HoldChecks();
std::span<const Check> MessageChecks();
std::span<const Check> AdministratorChecks();
std::span<const Check> LockChecks();
std::span<const Check> FailureChecks();
std::span<const Check> EndingChecks();

// In that order.
std::vector<Check> AllChecks();

}  // namespace conformance

#endif  // KXL_TOOLS_UPDATER_CHECK_CHECK_H
