// The verbs that call the library, as an application does. Each answers the exit status: the result
// code.
#ifndef KXL_TOOLS_KXL_REQUESTS_H
#define KXL_TOOLS_KXL_REQUESTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "kxl/output.h"

namespace tool {

struct Application {
  std::string id;
  std::string name;
  std::string folder;
};

struct CheckOptions {
  bool isScheduled = false;
  bool refresh = false;
  std::string language;
};

struct AvailableOptions {
  std::uint32_t request = 1;
  unsigned waitSeconds = 0;
  bool refresh = false;
};

struct MissingOptions {
  std::vector<std::string> components;  // name, category and version of each
  std::int32_t type = 0;
  std::string language;
  bool refresh = false;
};

int Register(Output& output, const Application& application);
int Unregister(Output& output, const std::string& id);
int IsEnabled(Output& output);
// Without an identifier for all applications.
int Check(Output& output, const Application& application, const CheckOptions& options);
// Asks again while the answer is pending, for so many seconds.
int IsAvailable(Output& output, const Application& application, const AvailableOptions& options);
int ReportMissing(Output& output, const Application& application, const MissingOptions& options);
int Act(Output& output, const std::string& id);
int Hold(Output& output, const std::string& id, std::uint32_t seconds);  // 0 clears
int QueryHold(Output& output, const std::string& id);                    // empty: the longest
int ShowVersion(Output& output);

}  // namespace tool

#endif  // KXL_TOOLS_KXL_REQUESTS_H
