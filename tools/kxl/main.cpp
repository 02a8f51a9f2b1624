// kxl: what the library does, from the command line, and a look at the files it does it with.
#include <sysexits.h>

#include <clocale>
#include <exception>
#include <iostream>

#include "kxl/command_line.h"

namespace {

int RunVerb(const tool::CommandLine& line, tool::Output& output) {
  try {
    return line.verb(output);
  } catch (const std::exception& error) {
    output.Error(error.what());
    return output.ExitStatus();
  }
}

int Run(int argc, char** argv) {
  tool::CommandLine line;
  auto status = ReadCommandLine(argc, argv, line, std::cout, std::cerr);
  tool::Output output(line.json);
  if (!status) status = RunVerb(line, output);
  output.Flush();
  if (output.IsPrinted()) return *status;
  output.Error("the standard output cannot be written");
  return output.ExitStatus();
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "C.UTF-8");  // what files hold, whatever the user's own is
  try {
    return Run(argc, argv);
  } catch (...) {
    return EX_SOFTWARE;  // out of memory, with nothing left to say so
  }
}
