// What a host pays for having the library at all, in processes of their own.
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "bench/machine.h"
#include "bench/rows.h"

namespace bench {

namespace {

// The number that the command prints.
double Ask(const std::string& command) {
  FILE* output = popen(command.c_str(), "r");
  std::array<char, 64> text{};
  Check(output != nullptr && std::fgets(text.data(), text.size(), output) != nullptr &&
            pclose(output) == 0,
        command.c_str());
  return std::strtod(text.data(), nullptr);
}

}  // namespace

void AddLoadingRows() {
  static constexpr double kNanosecond = 1e-9;
  AddRow("load, and the first KXLGetVersion",
         {{kLibrary, [] { return Ask(LOADER " " LIBRARY " KXLGetVersion") * kNanosecond; }},
          {kMinimum, [] { return Ask(LOADER " " TRIVIAL " GetVersion") * kNanosecond; }}});
}

double MemoryOfARegistration() {
  constexpr std::size_t kApplications = 10000;
  WriteFile(ListPath(), ListText(kApplications));
  const double grown = Ask(REGISTRANT " " + ApplicationOf(kApplications / 2).id);
  return grown / static_cast<double>(std::filesystem::file_size(ListPath()));
}

double StrippedSize() {
  constexpr double kKilobyte = 1000;
  const std::string stripped = Path("stripped");
  return Ask("strip --strip-unneeded -o " + stripped + " " LIBRARY " && stat -c %s " + stripped) /
         kKilobyte;
}

}  // namespace bench
