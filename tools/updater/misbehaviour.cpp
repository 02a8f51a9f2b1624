#include "updater/misbehaviour.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "esd/number_text.h"
#include "esd/streams.h"
#include "platform/file_system.h"
#include "platform/path.h"
#include "stores/missing_components.h"
#include "stores/suppress_file.h"
#include "util/log_paths.h"

namespace updater {

namespace {

struct Named {
  std::string_view name;
  Misbehaviour::Kind kind;
  bool hasNumber;
};

using Kind = Misbehaviour::Kind;
constexpr auto kKinds = std::to_array<Named>({{"late", Kind::kLate, true},
                                              {"garbage", Kind::kGarbage, false},
                                              {"half", Kind::kHalf, false},
                                              {"die", Kind::kDie, false},
                                              {"never", Kind::kNever, false},
                                              {"exit", Kind::kExit, true},
                                              {"stale", Kind::kStale, false},
                                              {"private", Kind::kPrivate, false},
                                              {"deaf", Kind::kDeaf, false},
                                              {"utc", Kind::kUtc, false},
                                              {"unhold", Kind::kUnhold, false},
                                              {"silent", Kind::kSilent, false},
                                              {"obey", Kind::kObey, false},
                                              {"hoard", Kind::kHoard, false},
                                              {"mortal", Kind::kMortal, false},
                                              {"erase", Kind::kErase, false},
                                              {"litter", Kind::kLitter, false}});

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

void SpoilFiles(const Misbehaviour& misbehaviour) {
  const std::string folder = kxl::DataFolder();
  const std::string list = kxl::JoinPath(folder, kxl::kMissingComponentsFileName);
  switch (misbehaviour.kind) {
    case Kind::kPrivate:
      chmod(list.c_str(), S_IRUSR | S_IWUSR);
      break;
    case Kind::kErase:
      if (access(list.c_str(), R_OK) != 0) kxl::DeleteFile(list);
      break;
    case Kind::kUnhold:
      kxl::DeleteFile(kxl::JoinPath(folder, kxl::kSuppressFileName));
      break;
    case Kind::kLitter:
      kxl::ESDofstream(kxl::JoinPath(folder, "kxl.tmp"), kxl::FileAccess::kReplace);
      break;
    default:
      break;
  }
}

}  // namespace updater
