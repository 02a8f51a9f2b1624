#include "kxl/doctor.h"

#include "kxl/examinations.h"

namespace tool {

std::vector<Finding> Examine() {
  Findings findings;
  for (const auto examine : {ExamineLocks, ExamineObstacles, ExamineOwnership, ExamineDisks,
                             ExamineSandbox, ExamineContent, ExamineSurroundings}) {
    examine(findings);
  }
  return findings;
}

}  // namespace tool
