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
  WriteFile(ListPath(), ListText(kApplications, "First"));
  const double grown = Ask(std::string(REGISTRANT " ") + MiddleId(kApplications));
  return grown / static_cast<double>(std::filesystem::file_size(ListPath()));
}

}  // namespace bench
