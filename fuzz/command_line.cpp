// The tool's arguments, one a line.
#include "kxl/command_line.h"

#include <sysexits.h>

#include <sstream>
#include <vector>

#include "fuzz/machine.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::istringstream lines(fuzz::Input(bytes, size).Rest());
  std::vector<std::string> texts = {"kxl"};
  for (std::string text; std::getline(lines, text);) texts.emplace_back(text.c_str());
  std::vector<const char*> arguments;
  for (const std::string& text : texts) arguments.push_back(text.c_str());

  tool::CommandLine line;
  std::ostringstream out;
  std::ostringstream err;
  const auto status =
      ReadCommandLine(static_cast<int>(arguments.size()), arguments.data(), line, out, err);
  if (status) {
    fuzz::Check(*status == 0 || *status == EX_USAGE, "the status is a documented one");
    fuzz::Check(out.str().empty() != err.str().empty(), "either help or an error is told");
    fuzz::Check((*status == 0) == err.str().empty(), "an error shows in the status");
    return 0;
  }
  fuzz::Check(line.verb != nullptr, "there is something to do");
  fuzz::Check(line.missing.components.size() % 3 == 0, "components have three texts each");
  fuzz::Check(!line.doctor.fix || !line.doctor.dryRun, "nothing is mended in a dry run");
  fuzz::Check(line.doctor.fix || !line.doctor.restore, "nothing is put back without mending");
  return 0;
}
