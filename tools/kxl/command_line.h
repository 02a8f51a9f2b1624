// The tool's arguments, read into what they ask for.
#ifndef KXL_TOOLS_KXL_COMMAND_LINE_H
#define KXL_TOOLS_KXL_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "kxl/mending.h"
#include "kxl/output.h"
#include "kxl/requests.h"

namespace tool {

// The options belong to the verb, which answers the exit status and reads them here.
struct CommandLine {
  bool json = false;
  std::function<int(Output&)> verb;
  Application application;
  CheckOptions check;
  AvailableOptions available;
  MissingOptions missing;
  DoctorOptions doctor;
  std::uint32_t holdSeconds = 0;
  bool clearsHold = false;
  bool queriesHold = false;
  bool queriesLongest = false;
  bool follows = false;
  bool forces = false;
  std::string path;

  CommandLine() = default;
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;
};

// Reads the arguments into line, which has a verb then. The exit status when there is none to run:
// help goes to out, and what is wrong with the arguments to err.
std::optional<int> ReadCommandLine(int argc, const char* const* argv, CommandLine& line,
                                   std::ostream& out, std::ostream& err);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_COMMAND_LINE_H
