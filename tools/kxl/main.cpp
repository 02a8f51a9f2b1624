// kxl: what the library does, from the command line, and a look at the files it does it with.
#include <sysexits.h>

#include <exception>
#include <iostream>

#include "kxl/command_line.h"

namespace {

int Run(int argc, char** argv) {
  tool::CommandLine line;
  if (const auto status = ReadCommandLine(argc, argv, line, std::cout, std::cerr)) return *status;
  tool::Output output(line.json);
  try {
    return line.verb(output);
  } catch (const std::exception& error) {
    output.Error(error.what());
    return output.ExitStatus();
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (...) {
    return EX_SOFTWARE;  // out of memory, with nothing left to say so
  }
}
