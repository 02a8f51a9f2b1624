// The results as a table and as a chart.
#ifndef KXL_BENCH_REPORT_H
#define KXL_BENCH_REPORT_H

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/chart.h"

namespace bench {

// Collects what AddRow reports.
class Report : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;

  // A line for what is no time.
  void Add(const std::string& row, const std::string& what, double value);
  // A line for each row of the list, from those that are there.
  void AddGrowth();

  // Prints every line in Markdown: the times, the ratio of libkxl to the other one, and the mark
  // that the ratio should not exceed, if there is one.
  void Print() const;
  // Draws them as an SVG picture.
  void Draw(const std::string& path) const;

 private:
  struct Line {
    std::string row;
    std::string against;
    double own;    // microseconds; 0 for what is no time
    double other;  // microseconds; 0 without one
    double value;  // the ratio, or what the mark counts
    double mark;   // 0 for none
  };

  const Line* Find(const std::string& row, const std::string& against) const;  // null without it
  Panel PanelOf(const std::string& title, const std::string& row) const;

  std::vector<Line> lines_;
};

}  // namespace bench

#endif  // KXL_BENCH_REPORT_H
