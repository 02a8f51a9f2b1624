// The throw-away machine on which everything is measured: a folder that goes with the process, with
// the library's trace switched off.
#ifndef KXL_BENCH_MACHINE_H
#define KXL_BENCH_MACHINE_H

#include <cstddef>
#include <string>

namespace bench {

// Makes the machine, and sets KXL_ROOT, HOME and XDG_RUNTIME_DIR to it. This user has to be an
// administrator by the account database. Ends the process when that fails.
void MakeMachine();
void RemoveMachine();

std::string Path(const std::string& belowRoot);
std::string ListPath();      // the registered applications
std::string SuppressPath();  // the holds
std::string TracePath();     // the library's trace

// What the library reads at the first call of a process.
void SetLogLevel(int level);

struct Application {
  std::string id;
  std::string name;
  std::string folder;
};

Application ApplicationOf(std::size_t number);

// The list of the first applications as the library writes it.
std::string ListText(std::size_t applications);

void WriteFile(const std::string& path, const std::string& text);

// Ends the process, with the text, when what has to hold does not: a failed call is not measured.
void Check(bool holds, const char* what);

}  // namespace bench

#endif  // KXL_BENCH_MACHINE_H
