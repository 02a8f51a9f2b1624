#include "updater/misbehaviour.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "esd/number_text.h"

namespace updater {

namespace {

struct Named {
  std::string_view name;
  Misbehaviour::Kind kind;
  bool hasNumber;
};

using Kind = Misbehaviour::Kind;
constexpr std::array<Named, 6> kKinds = {{{"late", Kind::kLate, true},
                                          {"garbage", Kind::kGarbage, false},
                                          {"half", Kind::kHalf, false},
                                          {"die", Kind::kDie, false},
                                          {"never", Kind::kNever, false},
                                          {"exit", Kind::kExit, true}}};

}  // namespace

Misbehaviour ReadMisbehaviour() {
  const char* variable = std::getenv("KXL_UPDATER_MISBEHAVE");
  const std::string_view text = variable == nullptr ? "" : variable;
  if (text.empty()) return {};
  const std::string_view name = text.substr(0, text.find(' '));
  const std::string_view rest = text.substr(name.size());
  for (const Named& known : kKinds) {
    std::int32_t number = 0;
    if (name != known.name) continue;
    if (known.hasNumber ? esd::ParseInteger(rest, number) && number >= 0 : rest.empty()) {
      return {known.kind, number};
    }
  }
  throw std::runtime_error("Cannot misbehave as asked: " + std::string(text));
}

void DelayIfLate(const Misbehaviour& misbehaviour) {
  if (misbehaviour.kind != Kind::kLate) return;
  auto left = static_cast<unsigned>(misbehaviour.number);
  while (left > 0) left = sleep(left);
}

}  // namespace updater
