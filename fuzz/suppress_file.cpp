// The holds: an identifier, seconds, and the file.
#include "stores/suppress_file.h"

#include <exception>
#include <optional>

#include "fuzz/machine.h"

namespace {

constexpr std::time_t kNow = 1205787941;  // 2008-03-17 21:05:41

std::string Path() { return fuzz::DataPath(kxl::kSuppressFileName); }

// What the file holds, as text; none for one with a time that does not exist.
std::optional<std::string> Read(kxl::SuppressFile& file) {
  std::string text;
  try {
    fuzz::Check(file.Read(kNow), "a readable file is read");
  } catch (const std::exception&) {
    return std::nullopt;
  }
  std::time_t longest = 0;
  for (const kxl::Hold& hold : file.Holds()) {
    fuzz::Check(!hold.appId.empty(), "every hold has an owner");
    fuzz::Check(kNow < hold.end && hold.end <= kNow + kxl::kLongestHold,
                "a hold runs for half a day at most");
    longest = std::max(longest, hold.end);
    // A longer identifier makes a line that is read as two.
    constexpr std::size_t kMaximumAppId = 256;
    if (hold.appId.size() > kMaximumAppId) return std::nullopt;
    text += hold.appId + "\t" + std::to_string(hold.end) + "\n";
  }
  fuzz::Check(file.Longest() == nullptr ? longest == 0 : file.Longest()->end == longest,
              "the longest hold is told");
  return text;
}

std::optional<std::string> Reread() {
  kxl::SuppressFile file(Path());
  return Read(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  const std::string appId = input.Field();
  const std::int32_t seconds = input.NumberField();
  const std::string contents = input.Rest();
  fuzz::Put(Path(), contents);
  {
    kxl::SuppressFile file(Path());
    fuzz::Check(file.Lock(), "a free lock is obtained");
    const auto holds = Read(file);
    if (!holds) {
      fuzz::Check(fuzz::Contents(Path()) == contents, "a file that somebody has to mend stays");
      return 0;
    }
    fuzz::Check(file.WriteBack(), "the holds are written");
    fuzz::Check(fuzz::Exists(Path()) == !file.Holds().empty(), "a file without holds goes");
    fuzz::Check(Reread() == holds, "what was written reads back");
  }
  const std::string swept = fuzz::Contents(Path());
  const bool isWritable = !appId.empty() && appId.size() <= 256 &&
                          appId.find_first_of(std::string("\t\r\n\0", 4)) == std::string::npos;
  const bool isRunning = seconds > 0 && static_cast<std::uint32_t>(seconds) <= kxl::kLongestHold;
  kxl::SuppressFile file(Path());
  Read(file);
  fuzz::Check(file.WriteBack() && fuzz::Contents(Path()) == swept, "sweeping once is enough");
  if (!isWritable || !isRunning) return 0;
  while (file.Find(appId) != nullptr) file.Clear(appId);
  file.Add(appId, kNow + seconds);
  fuzz::Check(file.WriteBack(), "a hold is written");
  kxl::SuppressFile reader(Path());
  Read(reader);
  const kxl::Hold* hold = reader.Find(appId);
  fuzz::Check(hold != nullptr && hold->end == kNow + seconds, "a hold reads back");
  return 0;
}
